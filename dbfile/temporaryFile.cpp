#include "dbfile/temporaryFile.h"

#include "dbfile/directory.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Varnix::DbFile {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view prefix = ".varnix-";
constexpr std::string_view suffix = ".tmp";

bool isNumber(std::string_view text) noexcept
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/** Whether it is a name that create() gives; anything else beside it is somebody's. */
bool isTemporaryName(std::string_view name) noexcept
{
    if (!name.starts_with(prefix) || !name.ends_with(suffix))
        return false;
    name.remove_prefix(prefix.size());
    name.remove_suffix(suffix.size());
    const std::size_t dash = name.find('-');
    return dash != std::string_view::npos && isNumber(name.substr(0, dash)) &&
           isNumber(name.substr(dash + 1));
}

/** Whether the path still leads to the open file. */
bool isAt(int fd, const fs::path& path) noexcept
{
    struct stat open = {};
    struct stat named = {};
    return ::fstat(fd, &open) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino && S_ISREG(open.st_mode);
}

void removeIfLeft(const fs::path& path) noexcept
{
    const Descriptor file(
        ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    // Its name is looked at under the lock: until then its owner may have renamed it.
    if (file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0 && isAt(file.get(), path))
        ::unlink(path.c_str());
}

} // namespace

TemporaryFile::~TemporaryFile()
{
    remove();
}

int TemporaryFile::create(const fs::path& directory, mode_t mode)
{
    for (unsigned attempt = 0;; ++attempt) {
        const int error =
            createAs(directory / (std::string(prefix) + std::to_string(::getpid()) + "-" +
                                  std::to_string(attempt) + std::string(suffix)),
                     mode);
        if (error != EEXIST && error != EWOULDBLOCK)
            return error;
    }
}

int TemporaryFile::createAs(const fs::path& path, mode_t mode)
{
    fs::path copy = path; // before there is a file to remove
    m_file = Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!m_file.isOpen())
        return errno;
    m_path = std::move(copy);
    m_lock = Descriptor(::fcntl(m_file.get(), F_DUPFD_CLOEXEC, 0));
    if (!m_lock.isOpen())
        return errno;
    // One who looks for files left behind may be faster; without locks nobody looks.
    const bool isTaken = ::flock(m_lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (!isTaken && isAt(m_lock.get(), m_path))
        return 0;
    remove();
    return EWOULDBLOCK;
}

int TemporaryFile::setOwner(uid_t user, gid_t group, mode_t mode) const noexcept
{
    // The mode afterwards: a change of owner takes some of its bits away.
    const bool isSet =
        ::fchown(m_file.get(), user, group) == 0 && ::fchmod(m_file.get(), mode) == 0;
    return isSet ? 0 : errno;
}

int TemporaryFile::write(std::string_view content)
{
    while (!content.empty()) {
        const ssize_t count = ::write(m_file.get(), content.data(), content.size());
        if (count >= 0)
            content.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return errno;
    }
    return 0;
}

int TemporaryFile::flush()
{
    return ::fsync(m_file.get()) == 0 && m_file.close() ? 0 : errno;
}

int TemporaryFile::rename(const fs::path& target)
{
    if (std::rename(m_path.c_str(), target.c_str()) != 0)
        return errno;
    m_path.clear();
    return 0;
}

void TemporaryFile::remove() noexcept
{
    if (!m_path.empty())
        ::unlink(m_path.c_str());
    m_path.clear();
}

void removeLeftTemporaryFiles(const fs::path& directory)
{
    for (const std::string& name : namesIn(directory))
        if (isTemporaryName(name))
            removeIfLeft(directory / name);
}

} // namespace Varnix::DbFile

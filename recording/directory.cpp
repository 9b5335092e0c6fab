#include "recording/directory.h"

#include "recording/failure.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Varnix::Recording {

namespace {

namespace fs = std::filesystem;

/** What mkdtemp makes unique. */
constexpr std::string_view ending = "-XXXXXX";

/** A lock on the directory, if it is this user's own and nobody's who lives. */
DbFile::Descriptor lockOn(const fs::path& directory)
{
    DbFile::Descriptor lock(
        ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat facts
    {
    };
    if (lock.isOpen() && (::fstat(lock.get(), &facts) != 0 || facts.st_uid != ::geteuid() ||
                          ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0 ||
                          ::fstat(lock.get(), &facts) != 0 || facts.st_nlink == 0))
        lock.close();
    return lock;
}

/** Whether a Directory of the prefix can have the name; other things may begin alike. */
bool isName(std::string_view name, std::string_view prefix)
{
    if (!name.starts_with(prefix))
        return false;
    name.remove_prefix(prefix.size());
    const std::size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
    return digits > 0 && name.size() == digits + ending.size() && name[digits] == '-' &&
           name.find_first_of("-.", digits + 1) == std::string_view::npos;
}

void removeTree(const fs::path& directory) noexcept
{
    std::error_code ignored;
    fs::remove_all(directory, ignored);
}

} // namespace

Directory::Directory(std::string_view prefix) : m_lock(-1)
{
    const std::string name = std::string(prefix) + std::to_string(::getpid()) + std::string(ending);
    // Whoever removes orphans may take the directory before it is locked.
    while (!m_lock.isOpen()) {
        std::string path = fs::temp_directory_path() / name;
        require(::mkdtemp(path.data()) != nullptr, "mkdtemp");
        m_lock = lockOn(path);
        m_path = std::move(path);
    }
}

Directory::~Directory()
{
    removeTree(m_path);
}

bool isOrphan(const fs::path& directory, std::string_view prefix)
{
    std::error_code ignored;
    return isName(directory.filename().native(), prefix) &&
           (fs::symlink_status(directory, ignored).type() == fs::file_type::not_found ||
            lockOn(directory).isOpen());
}

void removeOrphans(std::string_view prefix)
{
    std::error_code ignored; // other processes' directories come and go
    for (fs::directory_iterator entry(fs::temp_directory_path(), ignored), end;
         !ignored && entry != end; entry.increment(ignored)) {
        if (!isName(entry->path().filename().native(), prefix))
            continue;
        const DbFile::Descriptor lock = lockOn(entry->path());
        if (lock.isOpen())
            removeTree(entry->path());
    }
}

} // namespace Varnix::Recording

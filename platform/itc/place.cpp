#include "place.h"

#include "report.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Itc {

namespace {

std::string environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string directoryPath()
{
    if (std::string own = environment("VARNIX_ITC_DIR"); !own.empty())
        return own;
    if (const std::string runtime = environment("XDG_RUNTIME_DIR"); !runtime.empty())
        return runtime + "/varnix-itc";
    const std::string temporary = environment("TMPDIR");
    return (temporary.empty() ? "/tmp" : temporary) + "/varnix-itc-" + std::to_string(::geteuid());
}

} // namespace

Place::Place() : m_path(std::filesystem::absolute(directoryPath()).native()) {}

void Place::open()
{
    const std::string what = "cannot use the mailbox directory " + m_path;
    if (::mkdir(m_path.c_str(), S_IRWXU) == 0)
        ::chmod(m_path.c_str(), S_IRWXU); // whatever the umask is
    else if (errno != EEXIST)
        throwErrno(what);
    // A link that somebody else left in a shared place is not followed.
    m_descriptor =
        Descriptor(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!m_descriptor)
        throwErrno(what);
    try {
        if (::fstat(m_descriptor.get(), &m_status) != 0)
            throwErrno(what);
        if (m_status.st_uid != ::geteuid() || (m_status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
            throw std::runtime_error(what + ": it must belong to the user, with mode 0700");
        static_cast<void>(addressOf("m-00000000"));
    } catch (...) {
        m_descriptor = {};
        throw;
    }
}

void Place::checkUser() const
{
    if (::geteuid() == m_status.st_uid)
        return;
    uid_t real = 0;
    uid_t effective = 0;
    uid_t saved = 0;
    ::getresuid(&real, &effective, &saved);
    const bool mayReturn = real == m_status.st_uid || saved == m_status.st_uid;
    throw std::system_error(
        mayReturn ? EAGAIN : EPERM, std::generic_category(),
        "this process began as user " + std::to_string(m_status.st_uid) + " and is now user " +
            std::to_string(effective) + ": it finds no new or restarted mailbox in " + m_path +
            " and gets no messages from one. Change the user before the first use of mailboxes");
}

bool Place::isOwnUser(int connection) const noexcept
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == m_status.st_uid;
}

std::vector<std::string> Place::list(std::string_view letters) const
{
    Descriptor copy(::openat(m_descriptor.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(copy ? ::fdopendir(copy.get()) : nullptr,
                                                     &::closedir);
    if (!stream)
        throwErrno("cannot list the mailbox directory " + m_path);
    copy.release();
    std::vector<std::string> entries;
    while (const dirent* const entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name.size() >= 2 && name[1] == '-' && letters.find(name[0]) != letters.npos)
            entries.emplace_back(name);
    }
    return entries;
}

bool Place::remove(const std::string& entry) const noexcept
{
    return ::unlinkat(m_descriptor.get(), entry.c_str(), 0) == 0;
}

bool Place::isAt(const std::string& path) const noexcept
{
    struct stat status
    {
    };
    return ::stat(path.c_str(), &status) == 0 && status.st_dev == m_status.st_dev &&
           status.st_ino == m_status.st_ino;
}

/**
 * A socket's address has little room: however long the directory's path is, the one below /proc is
 * short. Where there is no /proc, the path itself may fit.
 */
sockaddr_un Place::addressOf(const std::string& entry) const
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    for (const std::string& directory :
         {"/proc/self/fd/" + std::to_string(m_descriptor.get()), m_path}) {
        std::string path = directory;
        path.append("/").append(entry);
        if (path.size() < sizeof address.sun_path && isAt(directory)) {
            path.copy(address.sun_path, path.size());
            return address;
        }
    }
    throw std::runtime_error("no mailbox can be reached in " + m_path +
                             ": /proc is not mounted and the path is too long or leads elsewhere. "
                             "Mount /proc, or let VARNIX_ITC_DIR name the directory in at most 96 "
                             "bytes");
}

} // namespace Itc

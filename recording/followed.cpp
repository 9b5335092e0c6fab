#include "recording/followed.h"

#include "recording/failure.h"
#include "recording/reporter.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace Varnix::Recording {

namespace {

namespace fs = std::filesystem;

/** Where the module is, seen from this program. */
std::string modulePath()
{
    const fs::path path = fs::read_symlink("/proc/self/exe").parent_path() / VARNIX_REPORTER;
    if (::access(path.c_str(), R_OK) != 0)
        throw Failure("there is no " + path.lexically_normal().string());
    return path.lexically_normal();
}

/** Listens at a name that the kernel chooses, in the abstract name space. */
DbFile::Descriptor listening(std::string& name)
{
    DbFile::Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socklen_t size = sizeof address.sun_family;
    require(made.isOpen() &&
                ::bind(made.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
                ::listen(made.get(), SOMAXCONN) == 0,
            "making a socket");
    size = sizeof address;
    require(::getsockname(made.get(), reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "getsockname");
    name.assign(address.sun_path + 1, size - offsetof(sockaddr_un, sun_path) - 1);
    return made;
}

} // namespace

Followed::Followed() : m_module(modulePath()), m_socket(listening(m_name)) {}

void Followed::setEnvironment() const
{
    ::setenv(VARNIX_REPORT_TO, m_name.c_str(), 1);
    ::setenv("LTTNG_UST_GETCPU_PLUGIN", m_module.c_str(), 1);
    // In milliseconds; a loaded machine may need more than the usual three seconds.
    ::setenv("LTTNG_UST_REGISTER_TIMEOUT", "30000", 0);
}

void Followed::admit(const std::function<void(pid_t)>& report) const
{
    while (true) {
        const DbFile::Descriptor reporter(
            ::accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!reporter.isOpen())
            return;
        const timeval patience{1, 0}; // it sends at once, or it is no reporter
        ::setsockopt(reporter.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        pid_t process = 0;
        if (::recv(reporter.get(), &process, sizeof process, MSG_WAITALL) != sizeof process)
            continue;
        report(process);
        ::send(reporter.get(), "", 1, MSG_NOSIGNAL);
    }
}

} // namespace Varnix::Recording

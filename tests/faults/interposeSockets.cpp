// Sockets, and what waits for them.
#include "interpose.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

using namespace Varnix::Test;

#pragma GCC visibility push(default)
extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    static auto* const real = realOf<int(int, int, int)>("socket");
    return pass("socket", real, domain, type, protocol);
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept
{
    static auto* const real = realOf<int(int, const sockaddr*, socklen_t)>("bind");
    return pass("bind", real, fd, address, size);
}

int listen(int fd, int backlog) noexcept
{
    static auto* const real = realOf<int(int, int)>("listen");
    return pass("listen", real, fd, backlog);
}

int connect(int fd, const sockaddr* address, socklen_t size)
{
    static auto* const real = realOf<int(int, const sockaddr*, socklen_t)>("connect");
    return pass("connect", real, fd, address, size);
}

int accept4(int fd, sockaddr* address, socklen_t* size, int flags)
{
    static auto* const real = realOf<int(int, sockaddr*, socklen_t*, int)>("accept4");
    return pass("accept4", real, fd, address, size, flags);
}

int getsockopt(int fd, int level, int option, void* value, socklen_t* size) noexcept
{
    static auto* const real = realOf<int(int, int, int, void*, socklen_t*)>("getsockopt");
    return pass("getsockopt", real, fd, level, option, value, size);
}

ssize_t send(int fd, const void* data, std::size_t size, int flags)
{
    static auto* const real = realOf<ssize_t(int, const void*, std::size_t, int)>("send");
    return pass("send", real, fd, data, size, flags);
}

ssize_t sendto(int fd, const void* data, std::size_t size, int flags, const sockaddr* address,
               socklen_t length)
{
    static auto* const real =
        realOf<ssize_t(int, const void*, std::size_t, int, const sockaddr*, socklen_t)>("sendto");
    return pass("sendto", real, fd, data, size, flags, address, length);
}

ssize_t sendmsg(int fd, const msghdr* message, int flags)
{
    static auto* const real = realOf<ssize_t(int, const msghdr*, int)>("sendmsg");
    return pass("sendmsg", real, fd, message, flags);
}

ssize_t recv(int fd, void* data, std::size_t size, int flags)
{
    static auto* const real = realOf<ssize_t(int, void*, std::size_t, int)>("recv");
    return transfer("recv", size, [&](std::size_t some) { return real(fd, data, some, flags); });
}

ssize_t recvmsg(int fd, msghdr* message, int flags)
{
    static auto* const real = realOf<ssize_t(int, msghdr*, int)>("recvmsg");
    return pass("recvmsg", real, fd, message, flags);
}

int poll(pollfd* polled, nfds_t count, int timeout)
{
    static auto* const real = realOf<int(pollfd*, nfds_t, int)>("poll");
    return pass("poll", real, polled, count, timeout);
}

int epoll_create1(int flags) noexcept
{
    static auto* const real = realOf<int(int)>("epoll_create1");
    return pass("epoll_create1", real, flags);
}

int epoll_ctl(int epoll, int operation, int fd, epoll_event* event) noexcept
{
    static auto* const real = realOf<int(int, int, int, epoll_event*)>("epoll_ctl");
    return pass("epoll_ctl", real, epoll, operation, fd, event);
}

int epoll_wait(int epoll, epoll_event* events, int count, int timeout)
{
    static auto* const real = realOf<int(int, epoll_event*, int, int)>("epoll_wait");
    return pass("epoll_wait", real, epoll, events, count, timeout);
}

int eventfd(unsigned int value, int flags) noexcept
{
    static auto* const real = realOf<int(unsigned int, int)>("eventfd");
    return pass("eventfd", real, value, flags);
}

int signalfd(int fd, const sigset_t* signals, int flags) noexcept
{
    static auto* const real = realOf<int(int, const sigset_t*, int)>("signalfd");
    return pass("signalfd", real, fd, signals, flags);
}

} // extern "C"
#pragma GCC visibility pop

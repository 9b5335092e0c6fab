// The functions of the C library that the library, the mailbox library and the tools call, in front
// of the C library's own: each asks first whether it is to fail.

#include "callFailure.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <type_traits>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

using Varnix::Test::CallEffect;
using Varnix::Test::CallFailure;

template <typename Function>
Function* realOf(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool fails(const CallEffect& effect)
{
    if (effect.error != 0)
        errno = effect.error;
    return effect.error != 0;
}

template <typename Result>
constexpr Result failure()
{
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return Result{-1};
}

/** Calls the real function unless the call is to fail; `call` is how tests name it. */
template <typename Result, typename... Arguments>
Result pass(const char* call, Result (*real)(Arguments...), Arguments... arguments)
{
    return fails(CallFailure::next(call)) ? failure<Result>() : real(arguments...);
}

/** The same for what transfers `size` bytes: perhaps fewer. */
template <typename Transfer>
ssize_t transfer(const char* call, std::size_t size, const Transfer& real)
{
    const CallEffect effect = CallFailure::next(call);
    return fails(effect) ? -1 : real(std::min(size, effect.limit));
}

mode_t modeOf(int flags, va_list& arguments)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...)
{
    static auto* const real = realOf<int(const char*, int, mode_t)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return pass("open", real, path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...)
{
    static auto* const real = realOf<int(int, const char*, int, mode_t)>("openat");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return pass("openat", real, directory, path, flags, mode);
}

FILE* fopen(const char* path, const char* mode)
{
    static auto* const real = realOf<FILE*(const char*, const char*)>("fopen");
    return pass("fopen", real, path, mode);
}

FILE* fopen64(const char* path, const char* mode)
{
    static auto* const real = realOf<FILE*(const char*, const char*)>("fopen64");
    return pass("fopen", real, path, mode);
}

int close(int fd)
{
    static auto* const real = realOf<int(int)>("close");
    // As Linux does it: the descriptor is free whatever is answered.
    const CallEffect effect = CallFailure::next("close");
    const int result = real(fd);
    return fails(effect) ? -1 : result;
}

ssize_t read(int fd, void* data, std::size_t size)
{
    static auto* const real = realOf<ssize_t(int, void*, std::size_t)>("read");
    return transfer("read", size, [&](std::size_t some) { return real(fd, data, some); });
}

ssize_t write(int fd, const void* data, std::size_t size)
{
    static auto* const real = realOf<ssize_t(int, const void*, std::size_t)>("write");
    return transfer("write", size, [&](std::size_t some) { return real(fd, data, some); });
}

ssize_t writev(int fd, const iovec* parts, int count)
{
    static auto* const real = realOf<ssize_t(int, const iovec*, int)>("writev");
    return pass("writev", real, fd, parts, count);
}

ssize_t pread(int fd, void* data, std::size_t size, off_t offset)
{
    static auto* const real = realOf<ssize_t(int, void*, std::size_t, off_t)>("pread");
    return transfer("pread", size, [&](std::size_t some) { return real(fd, data, some, offset); });
}

ssize_t pwrite(int fd, const void* data, std::size_t size, off_t offset)
{
    static auto* const real = realOf<ssize_t(int, const void*, std::size_t, off_t)>("pwrite");
    return transfer("pwrite", size, [&](std::size_t some) { return real(fd, data, some, offset); });
}

ssize_t pwritev(int fd, const iovec* parts, int count, off_t offset)
{
    static auto* const real = realOf<ssize_t(int, const iovec*, int, off_t)>("pwritev");
    return transfer("pwritev", parts->iov_len, [&](std::size_t some) {
        const iovec part{parts->iov_base, some};
        return some < parts->iov_len ? real(fd, &part, 1, offset) : real(fd, parts, count, offset);
    });
}

off_t lseek(int fd, off_t offset, int from) noexcept
{
    static auto* const real = realOf<off_t(int, off_t, int)>("lseek");
    return pass("lseek", real, fd, offset, from);
}

off_t lseek64(int fd, off_t offset, int from) noexcept
{
    static auto* const real = realOf<off_t(int, off_t, int)>("lseek64");
    return pass("lseek", real, fd, offset, from);
}

int fstat(int fd, struct stat* status) noexcept
{
    static auto* const real = realOf<int(int, struct stat*)>("fstat");
    return pass("fstat", real, fd, status);
}

int mkdir(const char* path, mode_t mode) noexcept
{
    static auto* const real = realOf<int(const char*, mode_t)>("mkdir");
    return pass("mkdir", real, path, mode);
}

int flock(int fd, int operation) noexcept
{
    static auto* const real = realOf<int(int, int)>("flock");
    return pass("flock", real, fd, operation);
}

int fsync(int fd)
{
    static auto* const real = realOf<int(int)>("fsync");
    return pass("fsync", real, fd);
}

int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
              unsigned flags) noexcept
{
    static auto* const real =
        realOf<int(int, const char*, int, const char*, unsigned)>("renameat2");
    return pass("renameat2", real, fromDirectory, from, toDirectory, to, flags);
}

int rename(const char* from, const char* to) noexcept
{
    static auto* const real = realOf<int(const char*, const char*)>("rename");
    return pass("rename", real, from, to);
}

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

/** Answers its error. */
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) noexcept
{
    static auto* const real =
        realOf<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    const CallEffect effect = CallFailure::next("pthread_create");
    return effect.error != 0 ? effect.error : real(thread, attributes, start, argument);
}

int memfd_create(const char* name, unsigned int flags) noexcept
{
    static auto* const real = realOf<int(const char*, unsigned int)>("memfd_create");
    return pass("memfd_create", real, name, flags);
}

int symlinkat(const char* target, int directory, const char* path) noexcept
{
    static auto* const real = realOf<int(const char*, int, const char*)>("symlinkat");
    return pass("symlinkat", real, target, directory, path);
}

ssize_t readlinkat(int directory, const char* path, char* target, std::size_t size) noexcept
{
    static auto* const real = realOf<ssize_t(int, const char*, char*, std::size_t)>("readlinkat");
    return pass("readlinkat", real, directory, path, target, size);
}

int unlinkat(int directory, const char* path, int flags) noexcept
{
    static auto* const real = realOf<int(int, const char*, int)>("unlinkat");
    return pass("unlinkat", real, directory, path, flags);
}

DIR* fdopendir(int fd)
{
    static auto* const real = realOf<DIR*(int)>("fdopendir");
    return pass("fdopendir", real, fd);
}

} // extern "C"
#pragma GCC visibility pop

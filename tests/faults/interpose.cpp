// Files, threads and memory: the functions of the C library that the library, the mailbox library
// and the tools call, in front of the C library's own.
#include "interpose.h"

#include <cstdarg>
#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

using namespace Varnix::Test;

namespace {

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

int stat(const char* path, struct stat* status) noexcept
{
    static auto* const real = realOf<int(const char*, struct stat*)>("stat");
    return pass("stat", real, path, status);
}

int fchown(int fd, uid_t user, gid_t group) noexcept
{
    static auto* const real = realOf<int(int, uid_t, gid_t)>("fchown");
    return pass("fchown", real, fd, user, group);
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

int fdatasync(int fd)
{
    static auto* const real = realOf<int(int)>("fdatasync");
    return pass("fdatasync", real, fd);
}

int ftruncate(int fd, off_t size) noexcept
{
    static auto* const real = realOf<int(int, off_t)>("ftruncate");
    return pass("ftruncate", real, fd, size);
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

/** Returns its error. */
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

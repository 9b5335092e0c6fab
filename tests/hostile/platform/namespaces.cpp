#include "namespaces.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace HostileTest {

namespace {

bool done(int result, const char* what)
{
    if (result != 0)
        std::printf("not permitted here: %s: %s\n", what, std::strerror(errno));
    return result == 0;
}

/** Who is not root may still be root of a user namespace. */
int userNamespace()
{
    return ::geteuid() == 0 ? 0 : CLONE_NEWUSER;
}

} // namespace

bool enterMountNamespace()
{
    return done(::unshare(CLONE_NEWNS | userNamespace()), "mounts of its own") &&
           done(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "private mounts");
}

bool enterPidNamespace()
{
    return done(::unshare(CLONE_NEWPID | userNamespace()), "process ids of its own");
}

bool hideProc()
{
    return enterMountNamespace() && done(::mount("none", "/proc", "tmpfs", 0, nullptr), "no /proc");
}

bool mountProc()
{
    return enterMountNamespace() &&
           done(::mount("proc", "/proc", "proc", 0, nullptr), "a /proc of its own");
}

} // namespace HostileTest

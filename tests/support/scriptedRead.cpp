#include "tests/support/scriptedRead.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Varnix::Test {

namespace {

constinit thread_local ScriptedRead* active = nullptr;

} // namespace

ScriptedRead::ScriptedRead(std::initializer_list<CallEffect> script) : m_script(script)
{
    active = this;
}

ScriptedRead::~ScriptedRead()
{
    active = nullptr;
}

CallEffect ScriptedRead::next(int fd, std::size_t size)
{
    if (active == nullptr)
        return CallEffect::ordinary();
    active->m_asked.push_back(size);
    active->m_leaked = active->m_leaked || (::fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0;
    if (active->m_script.empty())
        return CallEffect::ordinary();
    const CallEffect outcome = active->m_script.front();
    active->m_script.pop_front();
    return outcome;
}

} // namespace Varnix::Test

extern "C" __attribute__((visibility("default"))) ssize_t read(int fd, void* buffer,
                                                               std::size_t size)
{
    const auto outcome = Varnix::Test::ScriptedRead::next(fd, size);
    if (outcome.error != 0) {
        errno = outcome.error;
        return -1;
    }
    return ::syscall(SYS_read, fd, buffer, std::min(size, outcome.limit));
}

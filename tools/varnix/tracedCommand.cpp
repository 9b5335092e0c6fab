#include "tracedCommand.h"

#include "dbfile/shown.h"
#include "recording/failure.h"

#include <cerrno>
#include <cstring>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Tool {

namespace {

constexpr int notFound = 127;
constexpr int notExecutable = 126;

[[noreturn]] void execute(const CommandSetup& setup, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent)
        ::_exit(notExecutable); // it died before
    if (setup.outputAside)
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    static_cast<void>(::signal(SIGPIPE, SIG_DFL));
    ::pthread_sigmask(SIG_SETMASK, &setup.blocked, nullptr);
    std::vector<char*> arguments;
    arguments.reserve(setup.words.size() + 1);
    for (const std::string& word : setup.words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    const int error = errno;
    const std::string text =
        "varnix: " + DbFile::shown(setup.words[0]) + ": " + std::strerror(error) + '\n';
    static_cast<void>(!::write(STDERR_FILENO, text.data(), text.size()));
    ::_exit(error == ENOENT ? notFound : notExecutable);
}

} // namespace

TracedCommand::TracedCommand(const CommandSetup& setup, const Recording::Followed& followed)
{
    const pid_t self = ::getpid();
    m_process = ::fork();
    Recording::require(m_process >= 0, "fork");
    if (m_process == 0) {
        followed.setEnvironment();
        execute(setup, self);
    }
}

void TracedCommand::signal(int number) const
{
    if (!m_status)
        ::kill(m_process, number);
}

std::optional<int> TracedCommand::status()
{
    int status = 0;
    if (!m_status && ::waitpid(m_process, &status, WNOHANG) == m_process)
        m_status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return m_status;
}

} // namespace Varnix::Tool

#include "tests/support/tracedProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Test {

namespace {

using Environment = std::vector<std::pair<std::string, std::string>>;

void require(bool done, const char* what)
{
    if (!done)
        throw std::system_error(errno, std::generic_category(), what);
}

/** What a forked child waits at until its parent opens it; it stays shut when the parent fails. */
class Gate
{
public:
    Gate() { require(::pipe2(m_ends.data(), O_CLOEXEC) == 0, "pipe2"); }
    ~Gate()
    {
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    void open() { require(::write(m_ends[1], "", 1) == 1, "write"); }

    bool pass()
    {
        ::close(m_ends[1]);
        char opened = 0;
        return ::read(m_ends[0], &opened, 1) == 1;
    }

private:
    std::array<int, 2> m_ends{};
};

[[noreturn]] void execute(Gate& gate, const std::vector<std::string>& command,
                          const Environment& environment)
{
    if (!gate.pass())
        ::_exit(126);
    // The program waits in its start-up for as long as the tracer needs.
    ::setenv("LTTNG_UST_REGISTER_TIMEOUT", "-1", 1);
    for (const auto& [name, value] : environment)
        ::setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
}

} // namespace

pid_t startTraced(TraceSession& session, const std::vector<std::string>& command,
                  const Environment& environment)
{
    Gate gate;
    const pid_t child = ::fork();
    require(child >= 0, "fork");
    if (child == 0)
        execute(gate, command, environment);
    session.follow(child);
    gate.open();
    return child;
}

TracedRun runTraced(const std::vector<std::string>& command, const Environment& environment,
                    std::chrono::seconds limit)
{
    TraceSession session;
    TracedRun run;
    const pid_t child = startTraced(session, command, environment);
    const auto ended = [&] { return ::waitpid(child, &run.status, WNOHANG) == child; };
    if (!waitUntil(ended, limit)) {
        ::kill(child, SIGKILL);
        ::waitpid(child, &run.status, 0);
    }
    run.records = session.take();
    return run;
}

} // namespace Varnix::Test

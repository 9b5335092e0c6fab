#include "tests/support/child.h"

#include "tests/support/waitUntil.h"

#include <array>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Test {

namespace {

struct Pipe
{
    int readEnd;
    int writeEnd;
};

Pipe makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    return {ends[0], ends[1]};
}

[[noreturn]] void execute(std::vector<std::string> arguments)
{
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) // whoever runs the tests may ignore them
        ::signal(signal, SIG_DFL);
    ::execv(argv[0], argv.data());
    ::_exit(127);
}

} // namespace

Output::~Output()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

bool Output::readMore()
{
    pollfd watched{m_fd, POLLIN, 0};
    const auto limit = std::chrono::milliseconds(patience).count();
    if (::poll(&watched, 1, static_cast<int>(limit)) != 1)
        throw std::runtime_error("nothing more came; so far: " + m_pending);
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(m_fd, buffer.data(), buffer.size());
    if (count <= 0) // a terminal ends with an error
        return false;
    m_pending.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

std::optional<std::string> Output::line()
{
    std::size_t end = 0;
    while ((end = m_pending.find('\n')) == std::string::npos)
        if (!readMore())
            return std::nullopt;
    std::string line = m_pending.substr(0, end);
    m_pending.erase(0, end + 1);
    return line;
}

std::string Output::readUntil(std::string_view text)
{
    std::size_t found = 0;
    while ((found = m_pending.find(text)) == std::string::npos)
        if (!readMore())
            throw std::runtime_error("ended without \"" + std::string(text) + "\": " + m_pending);
    std::string read = m_pending.substr(0, found + text.size());
    m_pending.erase(0, found + text.size());
    return read;
}

std::string Output::rest()
{
    while (readMore()) {
    }
    return std::exchange(m_pending, {});
}

Child::Child(const std::vector<std::string>& arguments, bool atTerminal)
{
    const Pipe err = makePipe();
    if (atTerminal) {
        int master = -1;
        const winsize size{24, 200, 0, 0};
        m_pid = ::forkpty(&master, nullptr, nullptr, &size);
        if (m_pid == 0) {
            ::dup2(err.writeEnd, STDERR_FILENO);
            ::setenv("TERM", "xterm", 1);
            execute(arguments);
        }
        m_input = ::dup(master);
        m_out.open(master);
    } else {
        const Pipe in = makePipe();
        const Pipe out = makePipe();
        m_pid = ::fork();
        if (m_pid == 0) {
            ::dup2(in.readEnd, STDIN_FILENO);
            ::dup2(out.writeEnd, STDOUT_FILENO);
            ::dup2(err.writeEnd, STDERR_FILENO);
            execute(arguments);
        }
        ::close(in.readEnd);
        ::close(out.writeEnd);
        m_input = in.writeEnd;
        m_out.open(out.readEnd);
    }
    ::close(err.writeEnd);
    m_err.open(err.readEnd);
    if (m_pid < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
}

Child::~Child()
{
    endInput();
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
}

void Child::write(std::string_view text) const
{
    while (!text.empty()) {
        const ssize_t count = ::write(m_input, text.data(), text.size());
        if (count < 0)
            throw std::system_error(errno, std::generic_category(), "write");
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Child::endInput()
{
    if (m_input >= 0)
        ::close(std::exchange(m_input, -1));
}

void Child::signal(int number) const
{
    ::kill(m_pid, number);
    if (number != SIGSTOP)
        return;
    // On a loaded machine its threads may go on for a while.
    const auto hasStopped = [id = static_cast<id_t>(m_pid)] {
        siginfo_t info{};
        return ::waitid(P_PID, id, &info, WSTOPPED | WNOHANG) != 0 || info.si_pid != 0;
    };
    if (!waitUntil(hasStopped))
        throw std::runtime_error("the child does not stop");
}

int Child::wait()
{
    int status = 0;
    if (!waitUntil([&] { return ::waitpid(m_pid, &status, WNOHANG) != 0; }))
        throw std::runtime_error("the child does not end");
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace Varnix::Test

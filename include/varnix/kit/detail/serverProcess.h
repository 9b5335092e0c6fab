#ifndef VARNIX_KIT_DETAIL_SERVERPROCESS_H
#define VARNIX_KIT_DETAIL_SERVERPROCESS_H

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <varnix/kit/detail/tool.h>

namespace Varnix::Kit::Detail {

/**
 * A subscription server that takes lines and gives answers over a socket. It ends with the socket,
 * and so with the test, however that ends; a shell around it then removes the node's directory.
 */
class ServerProcess
{
public:
    explicit ServerProcess(const std::filesystem::path& directory)
    {
        int ends[2] = {-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            check(errno, "a socket to dbcsi-server");
        m_socket = ends[0];
        try {
            SpawnStreams streams;
            for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
                streams.copy(stream, ends[1]);
            m_process = spawn({"/bin/sh", "-c", R"("$0"; rm -rf -- "$1")", findTool("dbcsi-server"),
                               directory.string()},
                              streams);
        } catch (...) {
            ::close(ends[0]);
            ::close(ends[1]);
            throw;
        }
        ::close(ends[1]);
    }

    ~ServerProcess()
    {
        if (m_maker == ::getpid())
            end();
        ::close(m_socket);
    }

    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /**
     * Gives the server a line and returns its answer, the first line that holds `expected`.
     * Throws std::runtime_error with what it prints where it complains, ends, or takes too long.
     */
    std::string ask(const std::string& line, const std::string& expected)
    {
        send(line + '\n');
        const auto deadline = Clock::now() + std::chrono::minutes(1);
        std::string printed;
        for (;;) {
            const std::string answer = nextLine(deadline);
            printed += answer;
            if (answer.empty() || answer.find(": error: ") != std::string::npos)
                throw std::runtime_error("dbcsi-server did not carry out \"" + line +
                                         "\": " + printed);
            if (answer.find(expected) != std::string::npos)
                return answer;
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    void end() noexcept
    {
        ::shutdown(m_socket, SHUT_WR);
        try {
            const auto deadline = Clock::now() + std::chrono::seconds(10);
            while (receive(deadline) > 0)
                m_received.clear();
        } catch (const std::exception&) { // no memory: not waited for
        }
        ::kill(-m_process, SIGKILL); // what has not ended by now
        waitForEnd(m_process);
    }

    void send(const std::string& text) const
    {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t count =
                ::send(m_socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count < 0 && errno != EINTR)
                return; // it has ended: its last words tell why
            sent += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
    }

    /** With its end; empty where none comes any more. */
    std::string nextLine(Clock::time_point deadline)
    {
        std::size_t end = 0;
        while ((end = m_received.find('\n')) == std::string::npos) {
            if (receive(deadline) <= 0) {
                end = m_received.size();
                break;
            }
        }
        std::string line = m_received.substr(0, end + 1);
        m_received.erase(0, end + 1);
        return line;
    }

    /** The number of bytes that came; 0 after the last, and where none came in time. */
    ssize_t receive(Clock::time_point deadline)
    {
        for (;;) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            pollfd event{m_socket, POLLIN, 0};
            const int ready = ::poll(&event, 1, left > 0 ? static_cast<int>(left) : 0);
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready <= 0)
                return 0;
            char bytes[4096];
            const ssize_t count = ::recv(m_socket, bytes, sizeof bytes, 0);
            if (count < 0 && errno == EINTR)
                continue;
            if (count > 0)
                m_received.append(bytes, static_cast<std::size_t>(count));
            return count;
        }
    }

    pid_t m_maker = ::getpid();
    int m_socket = -1;
    pid_t m_process = -1;
    std::string m_received;
};

} // namespace Varnix::Kit::Detail

#endif

#ifndef VARNIX_TESTS_CHILD_H
#define VARNIX_TESTS_CHILD_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace Varnix::Test {

/** What a child writes to one of its outputs. */
class Output
{
public:
    Output() = default;
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void open(int fd) { m_fd = fd; }

    /** The next line; nothing at the end of the output. Fails the test when it takes too long. */
    std::optional<std::string> line();

    /** Everything up to and with the next occurrence of `text`; fails the test without one. */
    std::string readUntil(std::string_view text);

    /** Everything until the output ends. */
    std::string rest();

private:
    bool readMore();

    int m_fd = -1;
    std::string m_pending;
};

/** A program that a test runs; killed at the end of the test if it still runs. */
class Child
{
public:
    /** With `atTerminal`, its input and output are a terminal, which out() and write() drive. */
    explicit Child(const std::vector<std::string>& arguments, bool atTerminal = false);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    Output& out() { return m_out; }
    Output& err() { return m_err; }

    void write(std::string_view text) const;
    void endInput();
    /** When it returns, a child that is sent SIGSTOP has stopped. */
    void signal(int number) const;
    pid_t id() const { return m_pid; }

    /** The exit status, or 128 and the signal's number. Fails the test when it takes too long. */
    int wait();

private:
    pid_t m_pid = -1;
    int m_input = -1;
    Output m_out;
    Output m_err;
};

} // namespace Varnix::Test

#endif

#ifndef VARNIX_TESTS_SERVER_SERVERFIXTURE_H
#define VARNIX_TESTS_SERVER_SERVERFIXTURE_H

#include "tests/support/child.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace ServerTests {

using Varnix::Test::Child;

/** A write, and how a subscriber prints it. */
inline constexpr const char* command = "db write /unit/gain -i 2 7 8";
inline constexpr const char* commandAsReceived = "write [db] [write] [/unit/gain] [-i] [2] [7] [8]";

/** A server and its subscribers, in a mailbox directory of the test program's own. */
class ServerFixture : public testing::Test
{
protected:
    static std::vector<std::string> serverCommand(std::vector<std::string> options = {});

    void startServer(std::vector<std::string> options = {});
    /** The same, by a command line of any kind. */
    void start(const std::vector<std::string>& commandLine)
    {
        m_server = std::make_unique<Child>(commandLine);
    }
    Child& server() { return *m_server; }

    /** Gives the server a line. */
    void type(const std::string& line) { server().write(line + '\n'); }
    std::string answer() { return server().out().line().value_or("end of output"); }
    /** The server's next line of errors; not that another process has the mailbox lock just now. */
    std::string complaint();

    /** Types `line` until the first line of the server's answer is `wanted`. */
    void typeUntilAnswered(const std::string& line, const std::string& wanted);
    /** The same, until the answer's second line is as wanted too. */
    void typeUntilAnswered(const std::string& line, const std::string& wanted,
                           const std::function<bool(const std::string&)>& second);

    static std::unique_ptr<Child> startSubscriber();
    /** Starts a subscriber and waits until it has subscribed. */
    static std::unique_ptr<Child> subscriber();

private:
    std::unique_ptr<Child> m_server;
};

} // namespace ServerTests

#endif

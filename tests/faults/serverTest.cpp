#include "child.h"
#include "preload.h"
#include "tests/support/child.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/process.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

namespace Varnix::Test {
namespace {

enum class Input
{
    PIPE,
    TERMINAL
};

constexpr const char* commands = "wait 1 1\n"
                                 "db write /unit/label -c 'a text that is longer than small'\n"
                                 "status\n"
                                 "quit\n";

/** A server's run from its start over a write to the operator's end, beside one subscriber. */
class ServerFault : public testing::TestWithParam<Input>
{
protected:
    ServerFault()
    {
        writeFile(m_directory / "commands", commands);
        expectWholeInTheEnd();
    }

    ProcessResult runServer(const std::vector<std::string>& environment) const
    {
        if (GetParam() == Input::PIPE)
            return run({DBCSI_SERVER},
                       {.environment = environment, .input = m_directory / "commands"});
        std::vector<std::string> command = {"/usr/bin/env"};
        command.insert(command.end(), environment.begin(), environment.end());
        command.emplace_back(DBCSI_SERVER);
        Child server(command, true);
        try {
            server.write(commands);
        } catch (const std::system_error&) {
            // It has ended already.
        }
        ProcessResult result;
        result.out = server.out().rest();
        result.err = server.err().rest();
        const int ending = server.wait();
        result.status = ending < 128 ? ending : -1;
        result.signal = ending < 128 ? 0 : ending - 128;
        return result;
    }

    static bool isWhole(const ProcessResult& result)
    {
        return result.status == 0 && result.out.find("sent to 1 subscriber") != std::string::npos &&
               result.out.find("writes 1") != std::string::npos;
    }

    /** A server that no fault strikes does its work: the subscriber is not lost for good. */
    void expectWholeInTheEnd() const
    {
        ProcessResult last;
        EXPECT_TRUE(waitUntil([&] {
            last = runServer({"VARNIX_FAULT="});
            return isWhole(last);
        })) << last.status
            << " " << last.out << last.err;
    }

    /** Runs the server with the `first` such call failing; returns whether there was one. */
    bool strike(const Fault& fault, std::size_t first)
    {
        const ProcessResult result = runServer(m_report.environment(fault, first));
        const testing::ScopedTrace trace(__FILE__, __LINE__, describe(fault, first));
        EXPECT_EQ(result.signal, 0) << result.err;
        // At a terminal a mistake leaves the status alone.
        const bool refused =
            !result.err.empty() &&
            (result.status == notInTime || result.status == unreadable ||
             result.status == unusable || (result.status == 0 && GetParam() == Input::TERMINAL));
        EXPECT_TRUE(isWhole(result) || refused)
            << "status " << result.status << ", out " << result.out << ", err " << result.err;
        const bool struck = m_report.struck() || HasFailure();
        m_failures += struck ? 1 : 0;
        return struck;
    }

    void strikeAll(const Fault& fault)
    {
        for (std::size_t first = 0; !HasFailure() && strike(fault, first);)
            first = next(first);
        const testing::ScopedTrace trace(__FILE__, __LINE__, "after " + describe(fault, 0));
        expectWholeInTheEnd();
    }

    void report(const char* what) const
    {
        std::printf("dbcsi-server at a %s: %zu failed %s\n",
                    GetParam() == Input::PIPE ? "pipe" : "terminal", m_failures, what);
    }

private:
    static constexpr int notInTime = 1;
    static constexpr int unreadable = 3;
    static constexpr int unusable = 5;

    /** The server's mailboxes and those of its subscriber, who tells nobody what it is sent. */
    class Mailboxes
    {
    public:
        Mailboxes() { ::setenv("VARNIX_ITC_DIR", m_directory.path().c_str(), 1); }

    private:
        TemporaryDirectory m_directory;
    };

    const TemporaryDirectory m_directory;
    const Mailboxes m_mailboxes;
    const FaultReport m_report;
    const Child m_subscriber{{"/bin/sh", "-c", "exec '" TEST_SUBSCRIBER "' >/dev/null 2>&1"}};
    std::size_t m_failures = 0;
};

TEST_P(ServerFault, ServerThatRunsOutOfMemoryServesOrEndsWithItsStatus)
{
    strikeAll({.call = "new"});
    strikeAll({.call = "new", .count = Fault::all});
    report("allocations");
}

/** None that would be untrue of another process: ECONNREFUSED says that a subscriber has gone. */
const std::vector<Fault> serverFaults = {
    {"open", EMFILE},
    {"openat", EMFILE},
    {"read", ENXIO},
    {"read", EINTR},
    {"read"},
    {"read", 0, Fault::all},
    {"poll", ENOMEM},
    {"poll", EINTR},
    {"signalfd", EMFILE},
    {"eventfd", ENFILE},
    {"pthread_create", EAGAIN},
    {"mkdir", EACCES},
    {"fstat", EIO},
    {"flock", ENOLCK},
    {"socket", EMFILE},
    {"bind", ENOSPC},
    {"listen", ENOBUFS},
    {"connect", EAGAIN},
    {"accept4", EMFILE},
    {"getsockopt", ENOBUFS},
    {"send", EPIPE},
    {"sendmsg", ENOBUFS},
    {"recv", ENOMEM},
    {"recv"},
    {"recvmsg", ENOMEM},
    {"pread", EIO},
    {"pread"},
    {"pwritev", ENOMEM},
    {"pwritev"},
    {"epoll_create1", EMFILE},
    {"epoll_ctl", ENOSPC},
    {"epoll_wait", EINVAL},
    {"epoll_wait", EINVAL, Fault::all},
    {"memfd_create", EMFILE},
    {"symlinkat", ENOSPC},
    {"readlinkat", EIO},
    {"unlinkat", EIO},
    {"sendmsg", ENOBUFS, Fault::all},
    {"close", EIO},
};

/** What is another matter at a terminal. */
bool isOfInput(const Fault& fault)
{
    return fault.call == "read" || fault.call == "poll";
}

TEST_P(ServerFault, ServerWhoseCallFailsServesOrEndsWithItsStatus)
{
    for (const Fault& fault : serverFaults)
        if (!HasFailure() && (GetParam() == Input::PIPE || exhaustive() || isOfInput(fault)))
            strikeAll(fault);
    report("calls");
}

INSTANTIATE_TEST_SUITE_P(EachInput, ServerFault, testing::Values(Input::PIPE, Input::TERMINAL),
                         [](const auto& input) {
                             return input.param == Input::PIPE ? "pipe" : "terminal";
                         });

} // namespace
} // namespace Varnix::Test

#include "child.h"
#include "preload.h"
#include "tests/support/child.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/process.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Test {
namespace {

enum class Input
{
    PIPE,
    TERMINAL
};

constexpr const char* command = "db write /unit/label";
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
            return run(m_server, {.environment = environment, .input = m_directory / "commands"});
        std::vector<std::string> words = {"/usr/bin/env"};
        words.insert(words.end(), environment.begin(), environment.end());
        words.insert(words.end(), m_server.begin(), m_server.end());
        Child server(words, true);
        try {
            server.write(readFile(m_directory / "commands"));
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
            !result.err.empty() && (result.status == notInTime || result.status == unreadable ||
                                    result.status == notCarriedOut || result.status == unusable ||
                                    (result.status == 0 && GetParam() == Input::TERMINAL));
        EXPECT_TRUE(isWhole(result) || refused)
            << "status " << result.status << ", out " << result.out << ", err " << result.err;
        checkJournal(result);
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

    std::vector<std::string> m_server{DBCSI_SERVER};
    const TemporaryDirectory m_directory;
    const std::filesystem::path m_journal = m_directory / "journal";
    const FaultReport m_report;

private:
    /** What is said to be sent is in the journal, where there is one; the next run has a new one.
     */
    void checkJournal(const ProcessResult& result) const
    {
        const bool sent = result.out.find("sent to 1 subscriber") != std::string::npos;
        const std::string journal = exists(m_journal) ? readFile(m_journal) : command;
        EXPECT_TRUE(!sent || journal.find(command) != std::string::npos) << journal;
        std::filesystem::remove(m_journal);
    }

    static constexpr int notInTime = 1;
    static constexpr int unreadable = 3;
    static constexpr int notCarriedOut = 4;
    static constexpr int unusable = 5;

    /** The server's mailboxes and those of its subscriber, who tells nobody what it is sent. */
    class Mailboxes
    {
    public:
        Mailboxes() { ::setenv("VARNIX_ITC_DIR", m_directory.path().c_str(), 1); }

    private:
        TemporaryDirectory m_directory;
    };

    const Mailboxes m_mailboxes;
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

TEST_P(ServerFault, JournalWhoseCallFailsHoldsWhatWasSent)
{
    m_server = {DBCSI_SERVER, "--journal", m_journal.string()};
    for (const Fault& fault : {Fault{"fdatasync", EIO}, Fault{"fdatasync", EIO, Fault::all},
                               Fault{"fstat", EIO}, Fault{"flock", ENOLCK}, Fault{"pread", EIO}})
        if (!HasFailure())
            strikeAll(fault);
    report("calls for a journal");
}

TEST_P(ServerFault, JournalThatDoesNotReachTheDiskLetsNothingBeSent)
{
    m_server = {DBCSI_SERVER, "--journal", m_journal.string()};
    const ProcessResult result = runServer(
        m_report.environment({.call = "fdatasync", .error = EIO, .count = Fault::all}, 0));
    EXPECT_TRUE(m_report.struck());
    EXPECT_THAT(result.out, testing::Not(testing::HasSubstr("sent to")));
    EXPECT_THAT(result.err + result.out, testing::HasSubstr("nothing is sent"));
}

/** The file's limit leaves room for a part of the first write's line, and for all of the second's.
 */
TEST_P(ServerFault, JournalIsGoneOnWithWhenHalfALineCanBeCutOff)
{
    writeFile(m_journal, std::string(500, '#') + '\n');
    writeFile(m_directory / "commands", "wait 1 1\n" +
                                            (command + (" -c " + std::string(600, 'x'))) + '\n' +
                                            command + " -c short\nquit\n");
    m_server = {"/bin/bash",  "-c",        R"(ulimit -f 1; exec "$0" "$@")",
                DBCSI_SERVER, "--journal", m_journal.string()};
    const ProcessResult result =
        runServer(m_report.environment({.call = "ftruncate", .error = EIO, .count = 2}, 0));
    EXPECT_TRUE(m_report.struck());
    EXPECT_EQ(result.signal, 0);
    EXPECT_THAT(result.err + result.out, testing::HasSubstr("nothing is sent"));
    EXPECT_THAT(result.out, testing::HasSubstr("sent to 1 subscriber"));
    EXPECT_THAT(readFile(m_journal), testing::Not(testing::HasSubstr("xx")));
    EXPECT_THAT(readFile(m_journal), testing::HasSubstr("short"));
}

/** Each refusal is reported in a line of its own. */
TEST_P(ServerFault, ServerThatCannotReceiveTriesItTenTimesASecondAtMost)
{
    writeFile(m_directory / "commands", "wait 1000 1\nquit\n");
    const auto start = std::chrono::steady_clock::now();
    const ProcessResult result = runServer(
        m_report.environment({.call = "epoll_wait", .error = EINVAL, .count = Fault::all}, 0));
    const auto tenths = (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(100);
    EXPECT_TRUE(m_report.struck());
    const std::string said = result.err + result.out;
    constexpr std::string_view refusal = "cannot wait for messages";
    std::ptrdiff_t refusals = 0;
    for (auto at = said.find(refusal); at != said.npos; at = said.find(refusal, at + 1))
        ++refusals;
    EXPECT_GT(refusals, 0);
    constexpr std::ptrdiff_t calls = 20; // each command asks the server's thread a few times
    EXPECT_LE(refusals, tenths + calls);
}

INSTANTIATE_TEST_SUITE_P(EachInput, ServerFault, testing::Values(Input::PIPE, Input::TERMINAL),
                         [](const auto& input) {
                             return input.param == Input::PIPE ? "pipe" : "terminal";
                         });

} // namespace
} // namespace Varnix::Test

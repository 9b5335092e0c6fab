#include "serverFixture.h"

#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace ServerTests;
using testing::EndsWith;
using testing::StartsWith;

class ServerLife : public ServerFixture
{
};

TEST_F(ServerLife, ASecondServerIsRefusedAndTheFirstGoesOn)
{
    startServer();
    const auto only = subscriber();

    Child second(serverCommand());
    EXPECT_EQ(second.wait(), 5);
    EXPECT_THAT(second.err().rest(),
                EndsWith("dbcsi-server: cannot own the mailbox \"DbcsiServer\": another server "
                         "runs, which has to end first, or mailboxes cannot be used here\n"));

    type(command);
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), commandAsReceived);
}

TEST_F(ServerLife, AServerThatWasKilledIsFollowedByANewOne)
{
    startServer();
    const auto only = subscriber();
    for (int cycle = 0; cycle < 20; ++cycle) {
        server().signal(SIGKILL);
        EXPECT_EQ(server().wait(), 128 + SIGKILL);
        EXPECT_EQ(only->out().line(), "server down");
        startServer();
        EXPECT_EQ(only->out().line(), "subscribed");
        type(command);
        EXPECT_EQ(only->out().line(), commandAsReceived);
    }
}

TEST_F(ServerLife, SignalsEndItCleanly)
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        startServer();
        const auto only = subscriber();
        server().signal(number);
        EXPECT_EQ(server().wait(), 0);
        EXPECT_EQ(only->out().line(), "server down");
    }
}

TEST_F(ServerLife, ASignalEndsAWait)
{
    startServer();
    type("status\nwait 1");
    EXPECT_EQ(answer(), "0 subscribers");
    server().signal(SIGTERM);
    EXPECT_EQ(server().wait(), 0);
}

/** A shell's words that have two signals ignored by what it executes. */
std::vector<std::string> ignoringHangupAndInterrupt()
{
    return {"/bin/sh", "-c",
            std::string("trap '' HUP INT; exec '") + DBCSI_SERVER_PROGRAM + "' --stay"};
}

TEST_F(ServerLife, ASignalThatIsIgnoredOnEntryDoesNotEndIt)
{
    start(ignoringHangupAndInterrupt());
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
    for (const int number : {SIGHUP, SIGINT}) {
        server().signal(number);
        type("status");
        EXPECT_EQ(answer(), "0 subscribers");
    }
    server().signal(SIGTERM);
    EXPECT_EQ(server().wait(), 0);
}

TEST_F(ServerLife, AtATerminalASignalThatIsIgnoredOnEntryDoesNotEndIt)
{
    Child terminal(ignoringHangupAndInterrupt(), true);
    terminal.out().readUntil("dbcsi> ");
    terminal.signal(SIGHUP);
    terminal.write("status\n");
    terminal.out().readUntil("0 subscribers");
    terminal.out().readUntil("dbcsi> ");
    terminal.signal(SIGTERM);
    EXPECT_EQ(terminal.wait(), 0);
}

TEST_F(ServerLife, ServesAfterTheEndOfInputOnlyWithStay)
{
    startServer();
    server().endInput();
    EXPECT_EQ(server().wait(), 0);

    startServer({"--stay"});
    server().endInput();
    const auto only = subscriber();
    server().signal(SIGTERM);
    EXPECT_EQ(server().wait(), 0);

    startServer({"--stay"});
    type("quit");
    EXPECT_EQ(server().wait(), 0);
}

TEST_F(ServerLife, OptionsFollowTheToolsRules)
{
    Child version(serverCommand({"--version"}));
    EXPECT_EQ(version.wait(), 0);
    EXPECT_EQ(version.out().line(), PROJECT_VERSION);

    Child unknown(serverCommand({"--unknown"}));
    EXPECT_EQ(unknown.wait(), 2);
    EXPECT_EQ(unknown.out().rest(), "");

    for (const char* limit : {"", "-1", "+1", " 1", "1 ", "1k", "0x10", "99999999999999999999"}) {
        SCOPED_TRACE(limit);
        Child child(serverCommand({"--queue-limit", limit}));
        child.endInput();
        EXPECT_EQ(child.wait(), 2);
        EXPECT_THAT(child.err().rest(),
                    StartsWith("--queue-limit: \"" + std::string(limit) +
                               "\" is no number of bytes in decimal digits, or too "
                               "large\n"));
    }
    Child unnamed(serverCommand({"--journal", ""}));
    unnamed.endInput();
    EXPECT_EQ(unnamed.wait(), 2);
    EXPECT_THAT(unnamed.err().rest(), StartsWith("--journal: no file's name\n"));
}

/** A shell's redirection of the server, and how it ends. */
struct BadStream
{
    const char* redirection;
    int status;
    std::optional<std::string> complaint;
};

TEST_F(ServerLife, StreamsThatAreNoGoodEndItWithTheirStatusAndOneMessage)
{
    const std::string unread = "dbcsi-server: standard input cannot be read: ";
    const std::string endless =
        "dbcsi-server: standard input holds a line of more than 4194304 bytes";
    const std::string unwritten = "dbcsi-server: cannot write to standard output";
    for (const auto& [redirection, status, complaint] :
         std::vector<BadStream>{{"</", 3, unread + "Is a directory"},
                                {"<&-", 3, unread + "Bad file descriptor"},
                                {"0>/dev/null", 3, unread + "Bad file descriptor"},
                                {"</dev/zero", 3, endless},
                                {"</dev/full", 3, endless},
                                {"</dev/null", 0, std::nullopt},
                                {"</dev/null >/dev/full", 0, std::nullopt},
                                {"<<<status >/dev/full", 3, unwritten}}) {
        SCOPED_TRACE(redirection);
        Child child(
            {"/bin/bash", "-c", std::string("exec '") + DBCSI_SERVER_PROGRAM + "' " + redirection});
        EXPECT_EQ(child.wait(), status);
        EXPECT_EQ(child.err().line(), complaint);
        EXPECT_EQ(child.out().rest(), "");
    }
}

TEST_F(ServerLife, OutputThatCannotBeWrittenIsStatus3)
{
    Child child({"/bin/sh", "-c",
                 std::string("echo help | exec '") + DBCSI_SERVER_PROGRAM + "' >/dev/full"});
    EXPECT_EQ(child.wait(), 3);
    EXPECT_EQ(child.err().line(), "dbcsi-server: cannot write to standard output");
}

TEST_F(ServerLife, WithoutMailboxesIsStatus5)
{
    Child child({"/bin/sh", "-c",
                 std::string("VARNIX_ITC_DIR=/dev/null exec '") + DBCSI_SERVER_PROGRAM + "'"});
    EXPECT_EQ(child.wait(), 5);
    EXPECT_THAT(child.err().rest(), EndsWith("\ndbcsi-server: mailboxes cannot be used here; "
                                             "VARNIX_ITC_DIR may name another directory\n"));
}

} // namespace

#include "serverFixture.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace ServerTests;

class ServerTest : public ServerFixture
{
};

constexpr const char* command = "db write /unit/gain -i 2 7 8";
constexpr const char* commandAsReceived = "write [db] [write] [/unit/gain] [-i] [2] [7] [8]";

TEST_F(ServerTest, EverySubscriberGetsTheWordsUnchanged)
{
    startServer();
    const auto first = subscriber();
    const auto second = subscriber();

    type(command);
    EXPECT_EQ(answer(), "sent to 2 subscribers");
    type(R"('w 0' "" \\ -c "it's")");
    EXPECT_EQ(answer(), "sent to 2 subscribers");
    for (const auto& each : {first.get(), second.get()}) {
        EXPECT_EQ(each->out().line(), commandAsReceived);
        EXPECT_EQ(each->out().line(), R"(write [w 0] [] [\] [-c] [it's])");
    }
}

TEST_F(ServerTest, WritesComeInTheOrderTheyWereTyped)
{
    startServer();
    const auto only = subscriber();
    constexpr int writes = 500;
    for (int i = 0; i < writes; ++i)
        type("db write /unit/gain " + std::to_string(i));
    for (int i = 0; i < writes; ++i) {
        ASSERT_EQ(only->out().line(),
                  "write [db] [write] [/unit/gain] [" + std::to_string(i) + "]");
    }
}

TEST_F(ServerTest, WithoutSubscribersACommandGoesToNobody)
{
    startServer();
    type(command);
    EXPECT_EQ(answer(), "sent to 0 subscribers");
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
}

TEST_F(ServerTest, StatusTellsOfEverySubscriber)
{
    startServer();
    const auto first = subscriber();
    type(command);
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    EXPECT_EQ(first->out().line(), commandAsReceived);
    typeUntilAnswered("status", "1 subscriber", [&](const std::string& line) {
        return std::regex_match(line,
                                std::regex(std::to_string(first->id()) +
                                           "  dbcsi_test_subscriber  since "
                                           "20[0-9-]{8} [0-9:]{8}  writes 1  waiting 0 bytes"));
    });
}

TEST_F(ServerTest, ASubscriberThatIsKilledLeavesTheList)
{
    startServer();
    const auto staying = subscriber();
    const auto leaving = subscriber();
    type("wait 2");
    EXPECT_EQ(answer(), "2 subscribers");

    leaving->signal(SIGKILL);
    EXPECT_EQ(leaving->wait(), 128 + SIGKILL);
    typeUntilAnswered(command, "sent to 1 subscriber");
}

TEST_F(ServerTest, WaitEndsWhenTheSubscribersAreThere)
{
    startServer();
    type("wait 1 20");
    const auto only = subscriber();
    EXPECT_EQ(answer(), "1 subscriber");
    server().endInput();
    EXPECT_EQ(server().wait(), 0);
}

TEST_F(ServerTest, WaitThatRunsOutOfTimeIsStatus1)
{
    startServer();
    type("wait 1 0");
    EXPECT_EQ(complaint(), "<stdin>:1:1: error: there are still only 0 subscribers");
    server().endInput();
    EXPECT_EQ(server().wait(), 1);
}

TEST_F(ServerTest, SettleEndsWhenEverySubscriberHasHandledTheWritesBefore)
{
    startServer();
    const auto running = subscriber();
    const auto stopped = subscriber();
    stopped->signal(SIGSTOP);
    type(command);
    EXPECT_EQ(answer(), "sent to 2 subscribers");
    type("settle 0");
    const std::string text = complaint(); // the running one may be late too
    EXPECT_TRUE(text.starts_with("<stdin>:2:1: error: ") &&
                text.ends_with(" did not handle what was sent in time"))
        << text;

    type("settle 20");
    stopped->signal(SIGCONT);
    EXPECT_TRUE(answer().starts_with("settled 2 subscribers 0x"));
    EXPECT_EQ(stopped->out().line(), commandAsReceived);
}

TEST_F(ServerTest, SettleDoesNotWaitForASubscriberThatHasGone)
{
    startServer();
    const auto leaving = subscriber();
    leaving->signal(SIGSTOP);
    type("settle 20");
    leaving->signal(SIGKILL);
    EXPECT_EQ(answer(), "settled 0 subscribers");
}

TEST_F(ServerTest, RejectConnectionRefusesEveryConnection)
{
    startServer({"--reject-connection"});
    const auto refused = startSubscriber();
    EXPECT_EQ(refused->out().line(), "connection rejected");
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
}

TEST_F(ServerTest, RejectSubscriptionRefusesEverySubscription)
{
    startServer({"--reject-subscription"});
    const auto refused = startSubscriber();
    EXPECT_EQ(refused->out().line(), "subscription rejected");
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
}

TEST_F(ServerTest, AnUnterminatedQuoteNamesItsColumnAndTheServerGoesOn)
{
    startServer();
    const auto only = subscriber();
    type("");
    type("db write /unit/label -c 'unit one");
    EXPECT_EQ(complaint(), "<stdin>:2:25: error: unterminated '");
    type(command);
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), commandAsReceived);
    server().endInput();
    EXPECT_EQ(server().wait(), 4);
}

TEST_F(ServerTest, ACommandThatIsTooLargeGoesToNobody)
{
    // 16 bytes before the words, 24 for the first four, and the end of the fifth.
    constexpr std::size_t longestValue = (std::size_t{1} << 20) - 16 - 24 - 1;
    const std::string longest(longestValue, 'x');

    startServer();
    const auto only = subscriber();
    type("db write /unit/label -c " + longest + "x");
    EXPECT_EQ(complaint(), "<stdin>:1:1: error: a message of 1048577 bytes is too large: at most "
                           "1048576 can be sent");
    type("db write /unit/label -c " + longest);
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), "write [db] [write] [/unit/label] [-c] [" + longest + "]");
}

TEST_F(ServerTest, ALineThatIsNoCommandAndTooShortForAWriteIsNotSent)
{
    startServer();
    const auto only = subscriber();
    const std::pair<const char*, const char*> lines[] = {
        {"stauts", "status"},   {"wiat 3", "wait"}, {"Quit", "quit"},
        {"'' a b", "db write"}, {"hlep", "help"},   {"db read /a", "db write"},
        {"setle", "settle"}};
    for (const auto& [line, meant] : lines) {
        type(line);
        const std::string text = complaint();
        EXPECT_NE(
            text.find("is no command of the server, and a write has at least 4 words; did you "
                      "mean \"" +
                      std::string(meant)),
            std::string::npos)
            << text;
    }
    type(command);
    EXPECT_EQ(only->out().line(), commandAsReceived);
    server().endInput();
    EXPECT_EQ(server().wait(), 4);
}

TEST_F(ServerTest, TheStatusIsThatOfTheFirstLineThatFailed)
{
    for (const auto& [lines, status] :
         {std::pair("wait 1 0\n'\n", 1), std::pair("'\nwait 1 0\n", 4),
          std::pair("status\nwait 1 0\nhelp me\n", 1)}) {
        startServer();
        server().write(lines);
        server().endInput();
        EXPECT_EQ(server().wait(), status) << lines;
    }
}

TEST_F(ServerTest, OutputThatCannotBeWrittenDoesNotHideAnEarlierFailure)
{
    for (const auto& [line, status] : {std::pair("wait 1 0", 1), std::pair("\\'", 4)}) {
        Child child({"/bin/sh", "-c",
                     std::string("{ echo ") + line + "; echo help; } | exec '" +
                         DBCSI_SERVER_PROGRAM + "' >/dev/full"});
        EXPECT_EQ(child.wait(), status);
    }
}

TEST_F(ServerTest, ACommandThatIsTooLargeIsRefusedWhereNobodyListens)
{
    startServer();
    type("db write /unit/label -c " + std::string(std::size_t{1} << 20, 'x'));
    EXPECT_NE(complaint().find("is too large: at most 1048576 can be sent"), std::string::npos);
    server().endInput();
    EXPECT_EQ(server().out().rest(), "");
    EXPECT_EQ(server().wait(), 4);
}

/** A server in a shell that has set limits for it. */
std::vector<std::string> limitedServer(const std::string& limits)
{
    return {"/bin/bash", "-c", limits + " && exec '" + DBCSI_SERVER_PROGRAM + "'"};
}

TEST_F(ServerTest, ItServesMoreSubscribersThanASoftDescriptorLimitAllows)
{
    start(limitedServer("ulimit -Sn 40"));
    std::vector<std::unique_ptr<Child>> subscribers(30);
    for (auto& each : subscribers)
        each = startSubscriber();
    type("wait 30 30");
    EXPECT_EQ(answer(), "30 subscribers");
    type(command);
    EXPECT_EQ(answer(), "sent to 30 subscribers");
    for (auto& each : subscribers) {
        EXPECT_EQ(each->out().line(), "subscribed");
        EXPECT_EQ(each->out().line(), commandAsReceived);
    }
}

/** The number in "sent to N subscribers". */
int numberIn(const std::string& line)
{
    const std::string lead = "sent to ";
    return line.starts_with(lead) ? std::stoi(line.substr(lead.size())) : -1;
}

TEST_F(ServerTest, UnderAFileSizeLimitTheNumberSaidIsTheNumberThatGotTheWrite)
{
    start(limitedServer("ulimit -f 1"));
    const auto only = subscriber();
    const std::string value(2000, 'x');
    type("db write /unit/label -c " + value);
    const int said = numberIn(answer());
    const std::string unreached = "not sent to process " + std::to_string(only->id());
    EXPECT_TRUE(said == 1 || !server().err().readUntil(unreached).empty());
    type("quit");
    EXPECT_EQ(server().wait(), said == 0 ? 1 : 0);
    EXPECT_EQ(only->out().line(),
              said == 0 ? "server down" : "write [db] [write] [/unit/label] [-c] [" + value + "]");
}

TEST_F(ServerTest, OwnCommandsTakeOnlyTheirOwnArguments)
{
    startServer();
    type("status all");
    EXPECT_EQ(complaint(), "<stdin>:1:1: error: \"status\" takes no arguments");
    for (const char* line : {"settle x", "settle 1 2", "settle -1"}) {
        type(line);
        EXPECT_NE(complaint().find("usage: settle [SECONDS]"), std::string::npos) << line;
    }
    for (const char* line : {"wait", "wait x", "wait 1 2 3", "wait 1 x", "wait -1"}) {
        type(line);
        EXPECT_NE(complaint().find("usage: wait N [SECONDS]"), std::string::npos) << line;
    }
}

TEST_F(ServerTest, HelpNamesEveryCommand)
{
    startServer();
    type("help\nquit");
    const std::string text = server().out().rest();
    for (const char* word : {"WORD", "status", "wait", "settle", "help", "quit"})
        EXPECT_NE(text.find(word), std::string::npos) << word;
    EXPECT_EQ(server().wait(), 0);
}

TEST_F(ServerTest, ASecondServerIsRefusedAndTheFirstGoesOn)
{
    startServer();
    const auto only = subscriber();

    Child second(serverCommand());
    EXPECT_EQ(second.wait(), 5);
    EXPECT_NE(second.err().rest().find("\"DbcsiServer\": another server runs"), std::string::npos);

    type(command);
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), commandAsReceived);
}

TEST_F(ServerTest, AServerThatWasKilledIsFollowedByANewOne)
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

TEST_F(ServerTest, SignalsEndItCleanly)
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        startServer();
        const auto only = subscriber();
        server().signal(number);
        EXPECT_EQ(server().wait(), 0);
        EXPECT_EQ(only->out().line(), "server down");
    }
}

TEST_F(ServerTest, ASignalEndsAWait)
{
    startServer();
    type("status\nwait 1");
    EXPECT_EQ(answer(), "0 subscribers");
    server().signal(SIGTERM);
    EXPECT_EQ(server().wait(), 0);
}

TEST_F(ServerTest, ServesAfterTheEndOfInputOnlyWithStay)
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

TEST_F(ServerTest, TheLastLineNeedsNoNewline)
{
    startServer();
    server().write("status");
    server().endInput();
    EXPECT_EQ(answer(), "0 subscribers");
}

TEST_F(ServerTest, OptionsFollowTheToolsRules)
{
    Child help(serverCommand({"--help"}));
    EXPECT_EQ(help.wait(), 0);
    EXPECT_NE(help.out().rest().find("--reject-subscription"), std::string::npos);

    Child version(serverCommand({"--version"}));
    EXPECT_EQ(version.wait(), 0);
    EXPECT_EQ(version.out().line(), PROJECT_VERSION);

    Child unknown(serverCommand({"--unknown"}));
    EXPECT_EQ(unknown.wait(), 2);
    EXPECT_EQ(unknown.out().rest(), "");
}

/** A shell's redirection of the server, and how it ends. */
struct BadStream
{
    const char* redirection;
    int status;
    std::optional<std::string> complaint;
};

TEST_F(ServerTest, StreamsThatAreNoGoodEndItWithTheirStatusAndOneMessage)
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

TEST_F(ServerTest, RandomBytesAreReportedWithTheirPlaceAndDoNoHarm)
{
    std::mt19937 random(1);
    std::string bytes(5000, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    startServer();
    server().write(std::string("a\0b\n", 4) + bytes);
    EXPECT_EQ(complaint(), "<stdin>:1:2: error: NUL byte");
    server().write("\nstatus\n");
    server().endInput();
    EXPECT_EQ(server().wait(), 4);
    EXPECT_TRUE(server().out().rest().ends_with("0 subscribers\n"));
}

TEST_F(ServerTest, OutputThatCannotBeWrittenIsStatus3)
{
    Child child({"/bin/sh", "-c",
                 std::string("echo help | exec '") + DBCSI_SERVER_PROGRAM + "' >/dev/full"});
    EXPECT_EQ(child.wait(), 3);
    EXPECT_EQ(child.err().line(), "dbcsi-server: cannot write to standard output");
}

TEST_F(ServerTest, WithoutMailboxesIsStatus5)
{
    Child child({"/bin/sh", "-c",
                 std::string("VARNIX_ITC_DIR=/dev/null exec '") + DBCSI_SERVER_PROGRAM + "'"});
    EXPECT_EQ(child.wait(), 5);
}

} // namespace

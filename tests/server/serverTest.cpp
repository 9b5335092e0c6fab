#include "serverFixture.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace ServerTests;
using testing::EndsWith;
using testing::StartsWith;

class ServerCommand : public ServerFixture
{
};

TEST_F(ServerCommand, EverySubscriberGetsTheWordsUnchanged)
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

TEST_F(ServerCommand, WritesComeInTheOrderTheyWereTyped)
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

TEST_F(ServerCommand, WithoutSubscribersACommandGoesToNobody)
{
    startServer();
    type(command);
    EXPECT_EQ(answer(), "sent to 0 subscribers");
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
}

TEST_F(ServerCommand, StatusTellsOfEverySubscriber)
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

TEST_F(ServerCommand, AProcessWhoseCommandLineNamesAnotherGoesByTheKernelsName)
{
    startServer();
    Child only(
        {"/bin/bash", "-c", std::string("exec -a /bin/other '") + TEST_SUBSCRIBER_PROGRAM + "'"});
    only.out().readUntil("subscribed\n");
    type("status");
    EXPECT_EQ(answer(), "1 subscriber");
    EXPECT_THAT(answer(), StartsWith(std::to_string(only.id()) + "  dbcsi_test_subs  since "));
}

TEST_F(ServerCommand, ASubscriberThatIsKilledLeavesTheList)
{
    startServer();
    const auto staying = subscriber();
    const auto leaving = subscriber();
    type("wait 2");
    EXPECT_EQ(answer(), "2 subscribers");

    leaving->signal(SIGKILL);
    EXPECT_EQ(leaving->wait(), 128 + SIGKILL);
    typeUntilAnswered(command, "sent to 1 subscriber");
    server().endInput();
    EXPECT_EQ(server().err().rest().find("unknown number"), std::string::npos);
}

TEST_F(ServerCommand, WaitEndsWhenTheSubscribersAreThere)
{
    startServer();
    type("wait 1 20");
    const auto only = subscriber();
    EXPECT_EQ(answer(), "1 subscriber");
    server().endInput();
    EXPECT_EQ(server().wait(), 0);
}

TEST_F(ServerCommand, WaitThatRunsOutOfTimeIsStatus1)
{
    startServer();
    type("wait 1 0");
    EXPECT_EQ(complaint(), "<stdin>:1:1: error: there are still only 0 subscribers");
    server().endInput();
    EXPECT_EQ(server().wait(), 1);
}

TEST_F(ServerCommand, SettleEndsWhenEverySubscriberHasHandledTheWritesBefore)
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

TEST_F(ServerCommand, SettleDoesNotWaitForASubscriberThatHasGone)
{
    startServer();
    const auto leaving = subscriber();
    leaving->signal(SIGSTOP);
    type("settle 20");
    leaving->signal(SIGKILL);
    EXPECT_EQ(answer(), "settled 0 subscribers");
}

TEST_F(ServerCommand, RejectConnectionRefusesEveryConnection)
{
    startServer({"--reject-connection"});
    const auto refused = startSubscriber();
    EXPECT_EQ(refused->out().line(), "connection rejected");
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
}

TEST_F(ServerCommand, RejectSubscriptionRefusesEverySubscription)
{
    startServer({"--reject-subscription"});
    const auto refused = startSubscriber();
    EXPECT_EQ(refused->out().line(), "subscription rejected");
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
}

/** A server in a shell that has set limits for it. */
std::vector<std::string> limitedServer(const std::string& limits)
{
    return {"/bin/bash", "-c", limits + " && exec '" + DBCSI_SERVER_PROGRAM + "'"};
}

TEST_F(ServerCommand, ItServesMoreSubscribersThanASoftDescriptorLimitAllows)
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

/** The process ids of the subscribers that a server lists. */
std::set<pid_t> listed(Child& server)
{
    server.write("status\n");
    std::set<pid_t> processes;
    for (int left = std::stoi(server.out().line().value_or("0")); left > 0; --left)
        processes.insert(std::stoi(server.out().line().value_or("0")));
    return processes;
}

TEST_F(ServerCommand, AtAHardDescriptorLimitItServesThoseItHasTakenAndOthersWhenTheseGo)
{
    start(limitedServer("ulimit -n 50"));
    std::map<pid_t, std::unique_ptr<Child>> waiting;
    for (int i = 0; i < 30; ++i) {
        auto each = startSubscriber();
        waiting.emplace(each->id(), std::move(each));
    }
    EXPECT_TRUE(Varnix::Test::waitUntil([&] {
        type("wait " + std::to_string(std::min<std::size_t>(3, waiting.size())) + " 30");
        answer();
        const std::set<pid_t> taken = listed(server());
        type(command);
        answer();
        for (const pid_t process : taken) {
            const auto subscriber = waiting.find(process);
            if (subscriber == waiting.end())
                continue; // it has just gone
            EXPECT_EQ(subscriber->second->out().line(), "subscribed");
            EXPECT_EQ(subscriber->second->out().line(), commandAsReceived);
            waiting.erase(subscriber);
        }
        return waiting.empty() || HasFailure();
    })) << waiting.size()
        << " were never served";
}

/** The number in "sent to N subscribers". */
int numberIn(const std::string& line)
{
    const std::string lead = "sent to ";
    return line.starts_with(lead) ? std::stoi(line.substr(lead.size())) : -1;
}

TEST_F(ServerCommand, UnderAFileSizeLimitTheNumberSaidIsTheNumberThatGotTheWrite)
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

TEST_F(ServerCommand, WhatATerminalWouldObeyInAProcesssNameIsEscaped)
{
    const Varnix::Test::TemporaryDirectory directory;
    const std::string name = "a\033[2J\xC2\x9B\xFF";
    const std::string shown = R"(a\x1b[2J\xc2\x9b\xff)";
    const std::string program = directory / name;
    std::filesystem::create_symlink(TEST_SUBSCRIBER_PROGRAM, program);
    startServer({"--queue-limit", "10", "--journal", directory / "journal"});
    Child stopped({program});
    stopped.out().readUntil("subscribed\n");
    const std::string id = std::to_string(stopped.id());
    type("status");
    EXPECT_EQ(answer(), "1 subscriber");
    EXPECT_THAT(answer(), StartsWith(id + "  " + shown + "  since "));

    stopped.signal(SIGSTOP);
    for (const char* line : {"db write /a 1", "db write /a 2"})
        type(line);
    EXPECT_THAT(complaint(),
                StartsWith("dbcsi-server: process " + id + " (" + shown + ") is dropped: "));
    EXPECT_THAT(complaint(), EndsWith("error: not sent to process " + id + " (" + shown + ")"));
    const std::string written = Varnix::Test::readFile(directory / "journal");
    EXPECT_EQ(written.find_first_of("\033\xC2\x9B\xFF"), std::string::npos) << written;
}

} // namespace

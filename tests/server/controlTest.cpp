#include "controlClient.h"
#include "packet.h"
#include "serverFixture.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <csignal>
#include <string>
#include <vector>

namespace {

using namespace Dbcsi;
using namespace ServerTests;

const Words words = {"db", "write", "/unit/gain", "5"};
constexpr const char* received = "write [db] [write] [/unit/gain] [5]";

class ServerControl : public ServerFixture
{
protected:
    static std::vector<Receiver> write(const Words& given = words)
    {
        return writeThroughServer(given, Varnix::Test::patience);
    }

    static ControlRefusal refusalOf(const Words& given)
    {
        try {
            write(given);
        } catch (const WriteRefused& error) {
            return error.refusal();
        }
        ADD_FAILURE() << "not refused";
        return {};
    }

    /** Waits until the server serves. */
    void startServing(std::vector<std::string> options = {})
    {
        startServer(std::move(options));
        type("status");
        EXPECT_EQ(answer(), "0 subscribers");
    }
};

TEST_F(ServerControl, WordsGoToEverySubscriberAndTheAnswerNamesThem)
{
    startServing();
    EXPECT_TRUE(write().empty());
    const auto first = subscriber();
    const auto second = subscriber();
    const auto receivers = write();
    ASSERT_EQ(receivers.size(), 2u);
    EXPECT_EQ(receivers[0].process, first->id());
    EXPECT_EQ(receivers[1].process, second->id());
    for (const Receiver& receiver : receivers) {
        EXPECT_EQ(receiver.command, "dbcsi_test_subscriber");
        EXPECT_EQ(receiver.outcome, ControlOutcome::SENT);
        EXPECT_EQ(receiver.writes, 1u);
        EXPECT_NE(receiver.startTime, 0u);
    }
    EXPECT_NE(receivers[0].connection, receivers[1].connection);
    const Receiver again = write()[1];
    EXPECT_EQ(again.writes, 2u);
    EXPECT_EQ(again.connectionWrites, 2u);
    EXPECT_EQ(again.connection, receivers[1].connection);
    EXPECT_EQ(first->out().line(), received);
    EXPECT_EQ(second->out().line(), received);
}

TEST_F(ServerControl, ADroppedSubscriberIsNamedAsSuch)
{
    startServing({"--queue-limit", "10"});
    const auto stopped = subscriber();
    stopped->signal(SIGSTOP);
    EXPECT_EQ(write().at(0).outcome, ControlOutcome::SENT);
    EXPECT_EQ(write().at(0).outcome, ControlOutcome::DROPPED);
    EXPECT_TRUE(write().empty());
}

TEST_F(ServerControl, WhatIsNoWriteIsRefused)
{
    startServing();
    const auto only = subscriber();
    for (const Words& bad :
         {Words{}, Words{"status"}, Words{"db", "write", "/a"}, Words{"db", "write", "/a", "1\n2"},
          Words{"db", "write", "/a", std::string(1 << 20, 'x')}})
        EXPECT_EQ(refusalOf(bad), ControlRefusal::INVALID);
    write();
    EXPECT_EQ(only->out().line(), received);
}

TEST_F(ServerControl, AJournalThatCannotBeWrittenRefusesTheWrite)
{
    startServing({"--journal", "/dev/full"});
    EXPECT_EQ(refusalOf(words), ControlRefusal::JOURNAL);
}

TEST_F(ServerControl, WithoutAServerThatIsSaid)
{
    EXPECT_THROW(write(), ServerUnavailable);
}

TEST_F(ServerControl, AServerThatDoesNotAnswerOrEndsIsSaid)
{
    startServing();
    server().signal(SIGSTOP);
    EXPECT_THROW(writeThroughServer(words, std::chrono::milliseconds(50)), ServerUnavailable);
    server().signal(SIGKILL);
    server().wait();
    EXPECT_THROW(write(), ServerUnavailable);
}

TEST(ControlMessages, AreTheSameOnTheOtherSide)
{
    const std::vector<Receiver> receivers = {
        {1, 1ULL << 40, 2, ControlOutcome::SENT, "one", 3, 1},
        {2147483647, 0, 1ULL << 33, ControlOutcome::DROPPED, "", 4294967295U, 1ULL << 34}};
    const auto confirmation = decodeConfirmation(encode(WriteConfirmation{7, receivers}));
    EXPECT_EQ(confirmation.reference, 7u);
    EXPECT_EQ(confirmation.receivers, receivers);
    const auto rejection =
        decodeRejection(encode(WriteRejection{8, ControlRefusal::JOURNAL, "why"}));
    EXPECT_EQ(rejection.refusal, ControlRefusal::JOURNAL);
    EXPECT_EQ(rejection.text, "why");
    const auto request = decodeRequest(encode(WriteRequest{controlVersion, 9, {"", "a b"}}));
    EXPECT_EQ(request.reference, 9u);
    EXPECT_EQ(request.words, (Words{"", "a b"}));
}

TEST(ControlMessages, ThatEndTooEarlyAreMalformed)
{
    const auto request = encode(WriteRequest{controlVersion, 9, words});
    const auto confirmation =
        encode(WriteConfirmation{7, {{1, 2, 3, ControlOutcome::SENT, "one"}}});
    for (std::size_t size = 0; size < request.size(); ++size)
        EXPECT_THROW(decodeRequest(std::span(request).first(size)), MalformedMessage) << size;
    for (std::size_t size = 0; size < confirmation.size(); ++size)
        EXPECT_THROW(decodeConfirmation(std::span(confirmation).first(size)), MalformedMessage)
            << size;
}

} // namespace

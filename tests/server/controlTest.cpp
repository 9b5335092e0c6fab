#include "controlClient.h"
#include "mailbox.h"
#include "packet.h"
#include "serverFixture.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <csignal>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include <dbcsiMessages.h>

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

    static void expectRefused(const Words& given, ControlRefusal refusal, const std::string& text)
    {
        try {
            write(given);
            ADD_FAILURE() << "not refused";
        } catch (const WriteRefused& error) {
            EXPECT_EQ(error.refusal(), refusal);
            EXPECT_EQ(error.what(), text);
        }
    }

    static void expectUnavailable(const std::string& text,
                                  std::chrono::milliseconds limit = Varnix::Test::patience)
    {
        try {
            writeThroughServer(words, limit);
            ADD_FAILURE() << "there is a server";
        } catch (const ServerUnavailable& error) {
            EXPECT_EQ(error.what(), text);
        }
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
    for (const Words& few : {Words{}, Words{"status"}, Words{"db", "write", "/a"}})
        expectRefused(few, ControlRefusal::INVALID, "a write has at least 4 words");
    expectRefused({"db", "write", "/a", "1\n2"}, ControlRefusal::INVALID,
                  "a word holds a line break");
    for (const char* own : {"status", "wait", "settle", "help", "quit"})
        expectRefused({own, "/x", "/unit/gain", "7"}, ControlRefusal::INVALID,
                      std::string("a write does not begin with \"") + own +
                          "\", a command of the server");
    // The request leads its words, which end with a NUL each, with four numbers.
    expectRefused({"db", "write", "/a", std::string(1 << 20, 'x')}, ControlRefusal::INVALID,
                  "a message of " + std::to_string(16 + 3 + 6 + 3 + (1 << 20) + 1) +
                      " bytes is too large: at most 1048576 can be sent");
    write();
    EXPECT_EQ(only->out().line(), received);
}

TEST_F(ServerControl, AJournalThatCannotBeWrittenRefusesTheWrite)
{
    startServing({"--journal", "/dev/full"});
    expectRefused(words, ControlRefusal::JOURNAL,
                  "/dev/full: cannot be written: No space left on device");
}

TEST_F(ServerControl, WithoutAServerThatIsSaid)
{
    expectUnavailable("no subscription server runs here");
}

TEST_F(ServerControl, AServerThatDoesNotAnswerOrEndsIsSaid)
{
    startServing();
    server().signal(SIGSTOP);
    expectUnavailable("the subscription server does not answer", std::chrono::milliseconds(50));
    server().signal(SIGKILL);
    server().wait();
    expectUnavailable("no subscription server runs here");
}

/** A server of the test's own, which ends when it has done its deed with one request. */
template <typename Deed>
std::future<void> serverThat(const Deed& deed)
{
    std::promise<void> serves;
    std::future<void> served = serves.get_future();
    std::future<void> end =
        std::async(std::launch::async, [deed, serves = std::move(serves)]() mutable {
            Mailbox::initialise(1);
            EXPECT_NE(Mailbox::create(serverMailboxName), ITC_NO_MBOX_ID);
            serves.set_value();
            deed(Mailbox::receive(Varnix::Test::patience));
        });
    served.wait();
    return end;
}

TEST_F(ServerControl, AServerThatEndsInsteadOfAnsweringIsSaid)
{
    const auto end = serverThat([](const Mailbox::Message&) {});
    expectUnavailable("the subscription server ended before it answered");
}

TEST_F(ServerControl, AnAnswerThatCannotBeReadIsSaid)
{
    const auto end = serverThat([](const Mailbox::Message& request) {
        const std::uint32_t reference = Mailbox::wordAt(request, 2 * sizeof(std::uint32_t));
        Mailbox::Message answer =
            Mailbox::allocate(2 * sizeof(std::uint32_t), DBCSI_CONTROL_WRITE_CFM);
        Mailbox::setWordAt(answer, sizeof(std::uint32_t), reference);
        Mailbox::send(std::move(answer), Mailbox::senderOf(request));
    });
    expectUnavailable("the subscription server gives an answer that cannot be read");
}

TEST_F(ServerControl, AnswersToOthersRequestsAreNotTakenForOnesOwn)
{
    const auto end = serverThat([](const Mailbox::Message& request) {
        const std::uint32_t reference = Mailbox::wordAt(request, 2 * sizeof(std::uint32_t));
        for (const std::uint32_t other : {reference + 1, reference})
            Mailbox::send(
                Mailbox::fromBytes(encode(WriteRejection{other, ControlRefusal::INVALID,
                                                         other == reference ? "own" : "other"})),
                Mailbox::senderOf(request));
    });
    expectRefused(words, ControlRefusal::INVALID, "own");
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

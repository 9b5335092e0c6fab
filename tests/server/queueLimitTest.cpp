#include "serverFixture.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <csignal>
#include <string>

#include <sys/wait.h>

namespace {

using namespace ServerTests;

class ServerQueueLimit : public ServerFixture
{
protected:
    /**
     * Writes, each once `reader` has read the one before, until it is sent to as many as `wanted`
     * says; how many that took.
     */
    int writesUntilSentTo(const std::string& wanted, int atMost, Child* reader = nullptr)
    {
        for (int i = 1; i <= atMost; ++i) {
            type("db write /unit/label -c " + std::string(1000, 'x'));
            const std::string sentTo = answer();
            EXPECT_TRUE(reader == nullptr ||
                        reader->out().line().value_or("").starts_with("write"));
            if (sentTo == wanted)
                return i;
        }
        return 0;
    }

    /** Whether it has come to a stop since it was asked last. */
    static bool hasStopped(const Child& child)
    {
        int status = 0;
        return ::waitpid(child.id(), &status, WUNTRACED | WNOHANG) == child.id() &&
               WIFSTOPPED(status);
    }
};

TEST_F(ServerQueueLimit, ASubscriberThatReadsNothingIsDroppedAndNamed)
{
    startServer({"--queue-limit", "5000"});
    const auto running = subscriber();
    const auto stopped = subscriber();
    stopped->signal(SIGSTOP);

    // More than 1,000 bytes each: five of them are more than the limit, four are not.
    EXPECT_EQ(writesUntilSentTo("sent to 1 subscriber", 20, running.get()), 6);
    const std::string text = complaint();
    EXPECT_TRUE(text.starts_with("dbcsi-server: process " + std::to_string(stopped->id()) +
                                 " (dbcsi_test_subscriber) is dropped: ") &&
                text.ends_with(" bytes wait for it, more than 5000"))
        << text;
    EXPECT_NE(complaint().find("not sent to process " + std::to_string(stopped->id()) +
                               " (dbcsi_test_subscriber)"),
              std::string::npos);

    type("status");
    EXPECT_EQ(answer(), "1 subscriber");
    EXPECT_TRUE(answer().starts_with(std::to_string(running->id()) + " "));
    server().endInput();
    EXPECT_EQ(server().wait(), 1);
}

TEST_F(ServerQueueLimit, ALimitIsDecimalWhateverItBeginsWith)
{
    startServer({"--queue-limit", "050"});
    const auto stopped = subscriber();
    stopped->signal(SIGSTOP);
    // 50 bytes, as StatusTellsWhatWaits says: not more than the limit.
    for (const char* wanted :
         {"sent to 1 subscriber", "sent to 1 subscriber", "sent to 0 subscribers"}) {
        type("db write /a 1");
        EXPECT_EQ(answer(), wanted);
    }
}

TEST_F(ServerQueueLimit, StatusTellsWhatWaits)
{
    startServer();
    const auto stopped = subscriber();
    stopped->signal(SIGSTOP);
    // 20 bytes lead a message on its way; the write's own are 16 and its words with their ends.
    type("db write /a 1");
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    typeUntilAnswered("status", "1 subscriber",
                      [](const std::string& line) { return line.ends_with("  waiting 50 bytes"); });
    stopped->signal(SIGCONT);
    typeUntilAnswered("status", "1 subscriber",
                      [](const std::string& line) { return line.ends_with("  waiting 0 bytes"); });
}

TEST_F(ServerQueueLimit, ADroppedSubscriberThatGoesOnIsOneAgainWhenItHasCaughtUp)
{
    startServer({"--queue-limit", "5000"});
    const auto stopped = subscriber();
    stopped->signal(SIGSTOP);
    EXPECT_EQ(writesUntilSentTo("sent to 0 subscribers", 20), 6);
    stopped->signal(SIGCONT);
    type("wait 1 20");
    EXPECT_EQ(answer(), "1 subscriber");
    type("db write /a 1");
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(stopped->out().line()->starts_with("write [db] [write] [/unit/label]"));
    EXPECT_EQ(stopped->out().line(), "subscribed");
    EXPECT_EQ(stopped->out().line(), "write [db] [write] [/a] [1]");
}

TEST_F(ServerQueueLimit, AReplayIsBoundedToo)
{
    const Varnix::Test::TemporaryDirectory directory;
    startServer({"--queue-limit", "5000", "--replay", "--journal", directory / "journal"});
    const auto value = [](int number) { return std::to_string(number) + std::string(1000, 'x'); };
    constexpr int writes = 40;
    for (int i = 0; i < writes; ++i) {
        type("db write /unit/label -c " + value(i));
        EXPECT_EQ(answer(), "sent to 0 subscribers");
    }
    Child stopped({TEST_SUBSCRIBER_PROGRAM, "stops"});
    EXPECT_TRUE(Varnix::Test::waitUntil([&] { return hasStopped(stopped); }));
    const std::string start = "dbcsi-server: process " + std::to_string(stopped.id()) +
                              " (dbcsi_test_subscriber) is dropped: ";
    const std::string text = complaint();
    ASSERT_TRUE(text.starts_with(start) && text.ends_with(" bytes wait for it, more than 5000"))
        << text;
    // One write of more than 1,000 bytes over the limit, and a connection's messages.
    EXPECT_LT(std::stoi(text.substr(start.size())), 6500);
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");

    stopped.signal(SIGCONT);
    for (int i = 0; i < writes;) {
        const auto line = stopped.out().line();
        if (line == "subscribed") // first, and whenever it was too slow again
            continue;
        EXPECT_EQ(line, "write [db] [write] [/unit/label] [-c] [" + value(i++) + "]");
    }
}

TEST_F(ServerQueueLimit, EachSubscriptionBringsAReplayFurtherHoweverLittleMayWait)
{
    const Varnix::Test::TemporaryDirectory directory;
    startServer({"--queue-limit", "0", "--replay", "--journal", directory / "journal"});
    constexpr int writes = 10;
    for (int i = 0; i < writes; ++i) {
        type("db write /a " + std::to_string(i));
        EXPECT_EQ(answer(), "sent to 0 subscribers");
    }
    Child stopped({TEST_SUBSCRIBER_PROGRAM, "stops"});
    EXPECT_TRUE(Varnix::Test::waitUntil([&] { return hasStopped(stopped); }));
    EXPECT_NE(complaint().find(" is dropped: "), std::string::npos);
    stopped.signal(SIGCONT);
    bool hasJustSubscribed = false;
    for (int i = 0; i < writes;) {
        const auto line = stopped.out().line();
        const bool isSubscription = line == "subscribed";
        EXPECT_FALSE(isSubscription && hasJustSubscribed);
        hasJustSubscribed = isSubscription;
        if (isSubscription)
            continue;
        EXPECT_EQ(line, "write [db] [write] [/a] [" + std::to_string(i++) + "]");
    }
}

TEST_F(ServerQueueLimit, ASubscriberThatReadsIsNeverDroppedHoweverMuchItIsSent)
{
    startServer({"--queue-limit", "0"});
    const auto running = subscriber();
    for (int i = 0; i < 50; ++i) {
        type("db write /a 1");
        EXPECT_EQ(answer(), "sent to 1 subscriber");
        EXPECT_EQ(running->out().line(), "write [db] [write] [/a] [1]");
        typeUntilAnswered("status", "1 subscriber", [](const std::string& line) {
            return line.ends_with("  waiting 0 bytes");
        });
    }
}

} // namespace

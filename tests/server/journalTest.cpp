#include "serverFixture.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace ServerTests;
using Varnix::Test::readFile;
using Varnix::Test::writeFile;

class ServerJournal : public ServerFixture
{
protected:
    std::string journal() const { return (m_directory / "journal").string(); }
    std::string content() const { return readFile(journal()); }

    void startReplaying() { startServer({"--journal", journal(), "--replay"}); }
    void killServer()
    {
        server().signal(SIGKILL);
        EXPECT_EQ(server().wait(), 128 + SIGKILL);
    }

    void writeTo(int subscribers, const std::string& value)
    {
        type("db write /unit/label -a " + value);
        EXPECT_EQ(answer(), "sent to " + std::to_string(subscribers) +
                                (subscribers == 1 ? " subscriber" : " subscribers"));
    }

    /** What a subscriber says of such a write. */
    static std::string got(const std::string& value)
    {
        return "write [db] [write] [/unit/label] [-a] [" + value + "]";
    }
    static void expectGot(Child& child, const std::vector<std::string>& values)
    {
        for (const std::string& value : values)
            EXPECT_EQ(child.out().line(), got(value));
    }

    std::vector<std::string> lines() const
    {
        std::ifstream file(journal());
        std::vector<std::string> all;
        for (std::string line; std::getline(file, line);)
            all.push_back(line);
        return all;
    }

private:
    const Varnix::Test::TemporaryDirectory m_directory;
};

TEST_F(ServerJournal, EveryWriteIsALineWithTimeUserAndProcessesInAComment)
{
    startServer({"--journal", journal()});
    writeTo(0, "one");
    const auto only = subscriber();
    type("db write '/unit/a label' -c \"it's\"");
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    type("status");
    answer();

    const auto all = lines();
    ASSERT_EQ(all.size(), 5u) << content();
    EXPECT_TRUE(std::regex_match(all[0], std::regex("# boot [0-9a-f-]+"))) << all[0];
    EXPECT_EQ(all[1], "db write /unit/label -a one");
    const std::string timeAndUser = "# 20[0-9-]+T[0-9:]+Z [a-z0-9_-]+";
    EXPECT_TRUE(std::regex_match(all[2], std::regex(timeAndUser + " to 0:"))) << all[2];
    EXPECT_EQ(all[3], R"(db write '/unit/a label' -c 'it'\''s')");
    EXPECT_TRUE(
        std::regex_match(all[4], std::regex(timeAndUser + " to 1: " + std::to_string(only->id()) +
                                            "@[0-9]+/[0-9]+ dbcsi_test_subscriber")))
        << all[4];
}

TEST_F(ServerJournal, AJournalIsInputForAServer)
{
    startServer({"--journal", journal()});
    writeTo(0, "one");
    writeTo(0, "'two words'");
    type("quit");
    EXPECT_EQ(server().wait(), 0);

    startServer();
    const auto only = subscriber();
    server().write(content());
    expectGot(*only, {"one", "two words"});
    server().endInput();
    EXPECT_EQ(server().wait(), 0);
}

TEST_F(ServerJournal, ALateStarterIsSentAllWritesFirstAndInOrder)
{
    startReplaying();
    std::vector<std::string> values;
    for (int i = 0; i < 40; ++i) {
        values.push_back(std::to_string(i));
        writeTo(0, values.back());
    }
    const auto late = subscriber();
    writeTo(1, "last");
    values.emplace_back("last");
    expectGot(*late, values);
}

TEST_F(ServerJournal, WithoutReplayALateStarterIsSentNothing)
{
    startServer({"--journal", journal()});
    writeTo(0, "one");
    const auto late = subscriber();
    writeTo(1, "two");
    expectGot(*late, {"two"});
}

TEST_F(ServerJournal, AProcessThatReconnectsIsSentOnlyWhatItHasNotHad)
{
    startReplaying();
    const auto first = subscriber();
    writeTo(1, "one");
    expectGot(*first, {"one"});
    // The next server is found by nobody but a newcomer.
    first->signal(SIGSTOP);
    killServer();
    startReplaying();
    const auto second = subscriber();
    expectGot(*second, {"one"});
    writeTo(1, "two");
    expectGot(*second, {"two"});
    first->signal(SIGCONT);
    EXPECT_EQ(first->out().line(), "server down");
    EXPECT_EQ(first->out().line(), "subscribed");
    expectGot(*first, {"two"});
    writeTo(2, "three");
    expectGot(*first, {"three"});
    expectGot(*second, {"three"});
}

TEST_F(ServerJournal, AProcessThatExecutesItselfAnewIsSentEverything)
{
    startReplaying();
    const auto only = subscriber();
    writeTo(1, "one");
    expectGot(*only, {"one"});
    only->signal(SIGUSR1);
    EXPECT_EQ(only->out().line(), "subscribed");
    expectGot(*only, {"one"});
    killServer();
    startReplaying();
    EXPECT_EQ(only->out().line(), "server down");
    EXPECT_EQ(only->out().line(), "subscribed");
    writeTo(1, "two");
    expectGot(*only, {"two"});
}

TEST_F(ServerJournal, AJournalThatNamesNoMailboxesTellsWhatItsProcessesHaveHad)
{
    startReplaying();
    const auto only = subscriber();
    writeTo(1, "one");
    expectGot(*only, {"one"});
    killServer();
    EXPECT_EQ(only->out().line(), "server down");
    const std::string text = content();
    writeFile(journal(), std::regex_replace(text, std::regex("(@[0-9]+)/[0-9]+"), "$1"));
    ASSERT_NE(content(), text);
    startReplaying();
    EXPECT_EQ(only->out().line(), "subscribed");
    writeTo(1, "two");
    expectGot(*only, {"two"});
}

TEST_F(ServerJournal, HoweverOftenTheServerIsKilledEveryProcessIsSentEveryWriteOnce)
{
    startReplaying();
    const auto steady = subscriber();
    constexpr int cycles = 15;
    std::vector<std::string> values;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        values.push_back(std::to_string(cycle));
        writeTo(1, values.back());
        expectGot(*steady, {values.back()});
        killServer();
        EXPECT_EQ(steady->out().line(), "server down");
        startReplaying();
        EXPECT_EQ(steady->out().line(), "subscribed");
    }
    const auto late = subscriber();
    writeTo(2, "last");
    values.emplace_back("last");
    expectGot(*steady, {"last"});
    expectGot(*late, values);
}

TEST_F(ServerJournal, ASubscriberThatWasDroppedIsSentWhatItMissedWhenItGoesOn)
{
    startServer({"--journal", journal(), "--replay", "--queue-limit", "2000"});
    const auto stopped = subscriber();
    stopped->signal(SIGSTOP);
    const std::string value(1000, 'x');
    writeTo(1, value);
    writeTo(1, value);
    writeTo(0, "missed");
    writeTo(0, "too");
    stopped->signal(SIGCONT);
    expectGot(*stopped, {value, value});
    EXPECT_EQ(stopped->out().line(), "subscribed");
    expectGot(*stopped, {"missed", "too"});
}

TEST_F(ServerJournal, ProcessesOfAnEarlierBootHaveHadNothing)
{
    startReplaying();
    const auto first = subscriber();
    writeTo(1, "one");
    expectGot(*first, {"one"});
    killServer();
    EXPECT_EQ(first->out().line(), "server down");
    writeFile(journal(), std::regex_replace(content(), std::regex("# boot .*"), "# boot other"));
    startReplaying();
    EXPECT_EQ(first->out().line(), "subscribed");
    expectGot(*first, {"one"});
}

TEST_F(ServerJournal, AJournalThatCannotBeWrittenStopsTheWriteBeforeItIsSent)
{
    startServer({"--journal", "/dev/full"});
    const auto only = subscriber();
    type("db write /unit/label -c one");
    EXPECT_EQ(complaint(), "<stdin>:1:1: error: nothing is sent: /dev/full: cannot be written: No "
                           "space left on device");
    type("quit");
    EXPECT_EQ(server().wait(), 4);
    EXPECT_EQ(only->out().line(), "server down");
}

TEST_F(ServerJournal, AWriteThatDoesNotFitIntoTheJournalLeavesItWhole)
{
    start({"/bin/bash", "-c",
           std::string("ulimit -f 1 && exec '") + DBCSI_SERVER_PROGRAM + "' --replay --journal '" +
               journal() + "'"});
    writeTo(0, "one");
    const std::string before = content();
    type("db write /unit/label -c " + std::string(2000, 'x'));
    EXPECT_EQ(complaint(), "<stdin>:2:1: error: nothing is sent: " + journal() +
                               ": cannot be written: File too large");
    EXPECT_EQ(content(), before);
    writeTo(0, "two");
    killServer();

    startReplaying();
    const auto only = subscriber();
    expectGot(*only, {"one", "two"});
}

TEST_F(ServerJournal, AReplayThatTheJournalHasNoRoomForIsSaidWithWhatIsMissing)
{
    writeFile(journal(), std::string(1010, '#') + "\ndb write /a 1\n");
    start({"/bin/bash", "-c",
           std::string("ulimit -f 1 && exec '") + DBCSI_SERVER_PROGRAM + "' --replay --journal '" +
               journal() + "'"});
    const auto only = subscriber();
    server().err().readUntil(journal() + ": cannot be written: File too large\n");
    server().err().readUntil("dbcsi-server: process " + std::to_string(only->id()) +
                             " (dbcsi_test_subscriber) could not be sent 1 of 1 earlier writes\n");
}

TEST_F(ServerJournal, AnIncompleteLastLineIsIgnoredAndSaid)
{
    writeFile(journal(), "db write /unit/label -a one\ndb write /unit/label -a tw");
    startReplaying();
    EXPECT_EQ(complaint(), journal() + ":2:1: warning: an incomplete last line is ignored");
    const auto only = subscriber();
    expectGot(*only, {"one"});
    writeTo(1, "two");
    expectGot(*only, {"two"});
    EXPECT_EQ(content().find("tw\n"), std::string::npos);
}

TEST_F(ServerJournal, AServerThatEndedWhileItSentNamesWhoMayHaveMissedTheWrite)
{
    startReplaying();
    const auto first = subscriber();
    writeTo(1, "one");
    expectGot(*first, {"one"});
    killServer();
    EXPECT_EQ(first->out().line(), "server down");
    std::string text = content();
    ASSERT_TRUE(text.ends_with("dbcsi_test_subscriber\n")) << text;
    text.pop_back();
    writeFile(journal(), text);

    startReplaying();
    EXPECT_EQ(complaint(), journal() + ":3:1: warning: the server ended while it sent: process " +
                               std::to_string(first->id()) +
                               " (dbcsi_test_subscriber) may not have had the last write");
    EXPECT_EQ(first->out().line(), "subscribed");
    writeTo(1, "two");
    expectGot(*first, {"two"});
    const auto late = subscriber();
    expectGot(*late, {"one", "two"});
}

TEST_F(ServerJournal, LinesThatAreNoWritesAreIgnoredAndSaid)
{
    writeFile(journal(), "# by hand\n\ndb write /unit/label -a one\nstatus\n'\n"
                         "db write /unit/label -a two\n");
    startReplaying();
    EXPECT_TRUE(complaint().starts_with(journal() + ":4:1: warning: a write has at least 4 words"));
    EXPECT_EQ(complaint(), journal() + ":5:1: warning: unterminated '; the line is ignored");
    const auto only = subscriber();
    expectGot(*only, {"one", "two"});
}

TEST_F(ServerJournal, AJournalThatCannotBeUsedIsStatus3)
{
    const std::string missing = journal() + "/in/no/directory";
    Child unopened(serverCommand({"--journal", missing}));
    EXPECT_EQ(unopened.wait(), 3);
    EXPECT_EQ(unopened.err().line(),
              "dbcsi-server: " + missing + ": cannot be opened: No such file or directory");

    startServer({"--journal", journal()});
    writeTo(0, "one");
    Child second({"/bin/sh", "-c",
                  "VARNIX_ITC_DIR='" + journal() + ".itc' exec '" + DBCSI_SERVER_PROGRAM +
                      "' --journal '" + journal() + "'"});
    EXPECT_EQ(second.wait(), 3);
    EXPECT_EQ(second.err().line(), "dbcsi-server: " + journal() +
                                       ": another server writes it: Resource temporarily "
                                       "unavailable");
}

TEST_F(ServerJournal, ReplayNeedsAJournal)
{
    Child child(serverCommand({"--replay"}));
    EXPECT_EQ(child.wait(), 2);
}

} // namespace

#include "control.h"
#include "mailbox.h"
#include "servedFixture.h"

#include <csignal>
#include <future>
#include <thread>

#include <dbcsiMessages.h>
#include <nlohmann/json.hpp>

namespace Varnix::Test {

namespace {

using Json = nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Write : public Served
{
protected:
    /** Leads what each configuration says. */
    const std::string notSent = "varnix: not sent, as nothing would take it; --force sends it:\n";
};

TEST_F(Write, ATakenWriteShowsTheOldAndTheNewValueOfEverySubscriber)
{
    startServer();
    const std::string one = subscribe({first});
    const std::string both = subscribe({first, second});
    expectResult(written({"/gain", "9"}), 0,
                 one + "\tholder\t" + first + " 1 2 -> 9 2\n" + both + "\tholder\t" + first +
                     " 1 2 -> 9 2\t" + second + " 3 -> 9\n",
                 "");
    EXPECT_EQ(varnix({"get", "--pid", one, "/gain"}).out, "9 2\n");
    expectResult(written({"/board", "8"}), 0,
                 one + "\tholder\tproduction 7 -> 8\n" + both + "\tholder\tproduction 7 -> 8\n",
                 "");
}

TEST_F(Write, AWriteOfTheSameValueIsUnchangedAndTaken)
{
    startServer();
    const std::string pid = subscribe({first});
    expectResult(written({"/gain", "1"}), 0, pid + "\tholder\t" + first + " unchanged\n", "");
}

TEST_F(Write, ARefusalBySomeDatabaseIsNo)
{
    startServer();
    const std::string pid = subscribe({first, second});
    expectResult(written({"/gain", "5", "6"}), 1,
                 pid + "\tholder\t" + first + " 1 2 -> 5 6\t" + second +
                     " refused: Can not update a key with 1 values, with  2 values\n",
                 "");
}

TEST_F(Write, ARefusalIsNoThoughTheNextDatabaseTakesIt)
{
    startServer();
    const std::string pid = subscribe({second, first});
    expectResult(written({"/gain", "5", "6"}), 1,
                 pid + "\tholder\t" + second +
                     " refused: Can not update a key with 1 values, with  2 values\t" + first +
                     " 1 2 -> 5 6\n",
                 "");
}

TEST_F(Write, AKeyThatNoSubscriberHasIsSaidWithTheNearest)
{
    startServer();
    const std::string pid = subscribe({first});
    expectResult(written({"/gian", "1"}), 1, pid + "\tholder\tno such key\n",
                 "varnix: no database holds /gian; the nearest: /gain /board /label\n");
}

TEST_F(Write, AKeyOfAProcessThatDidNotSubscribeIsNotNamed)
{
    const TemporaryDirectory elsewhere;
    const std::string config = configuration("other", DbBuilder().u16("/gian1", {1}));
    Child other({"/usr/bin/env", "VARNIX_ITC_DIR=" + elsewhere.path().string(), HOLDER, config});
    EXPECT_EQ(other.out().line(), "ready");
    startServer();
    const std::string pid = subscribe({first});
    expectResult(written({"/gian", "1"}), 1, pid + "\tholder\tno such key\n",
                 "varnix: no database holds /gian; the nearest: /gain /board /label\n");
}

TEST_F(Write, AKeyThatOneSubscriberHasNotIsNoFailureOfTheOthers)
{
    startServer();
    const std::string has = subscribe({first});
    const std::string hasNot = subscribe({second});
    expectResult(written({"/label", "-c", "new"}), 0,
                 has + "\tholder\t" + first + " \"a label\" -> \"new\"\n" + hasNot +
                     "\tholder\tno such key\n",
                 "");
}

TEST_F(Write, AStoppedSubscriberHasNotAppliedItYet)
{
    startServer();
    const std::string pid = subscribe({first});
    holders.back()->signal(SIGSTOP);
    expectResult(written({"/gain", "4"}), 1, pid + "\tholder\tnot applied yet\n", "");
    holders.back()->signal(SIGCONT);
    // The one before is handled first: what is waited for is this write's own count.
    const ProcessResult next = written({"/gain", "5"});
    EXPECT_EQ(next.status, 0);
    EXPECT_THAT(next.out, HasSubstr(" -> 5 2\n"));
}

TEST_F(Write, ASubscriberThatIsDroppedIsNotSentIt)
{
    startServer({"--queue-limit", "10"});
    const std::string pid = subscribe({first});
    holders.back()->signal(SIGSTOP);
    EXPECT_EQ(written({"/gain", "4"}).status, 1);
    expectResult(written({"/gain", "5"}), 1,
                 pid + "\tholder\tnot sent: too much waits for it, and it is dropped\n", "");
}

TEST_F(Write, ASubscriberThatCannotBeLookedAtSaysWhy)
{
    startServer();
    Child subscriber({TEST_SUBSCRIBER});
    const std::string pid = std::to_string(subscriber.id());
    subscriber.out().readUntil("subscribed");
    expectResult(written({"/gain", "1"}), 1,
                 pid + "\tdbcsi_test_subscriber\tprocess " + pid + " does not use the library\n",
                 "");
}

TEST_F(Write, ASubscriptionThatIsConfirmedAgainKeepsItsCount)
{
    startServer();
    const std::string pid = subscribe({first});
    EXPECT_EQ(written({"/gain", "4"}).status, 0);
    settle();
    expectResult(written({"/gain", "5"}), 0, pid + "\tholder\t" + first + " 4 2 -> 5 2\n", "");
}

TEST_F(Write, ANewServerBeginsTheCountAnew)
{
    startServer();
    const std::string pid = subscribe({first});
    EXPECT_EQ(written({"/gain", "4"}).status, 0);
    EXPECT_EQ(written({"/gain", "5"}).status, 0);
    server->signal(SIGKILL);
    server->wait();
    startServer();
    server->write("wait 1 20\n");
    EXPECT_EQ(server->out().line(), "1 subscriber");
    settle();
    holders.back()->signal(SIGSTOP);
    expectResult(written({"/gain", "6"}), 1, pid + "\tholder\tnot applied yet\n", "");
    holders.back()->signal(SIGCONT);
    settle();
    EXPECT_EQ(written({"/gain", "7"}).out, pid + "\tholder\t" + first + " 6 2 -> 7 2\n");
}

TEST_F(Write, AJournalThatCannotBeWrittenStopsItBeforeItIsSent)
{
    startServer({"--journal", "/dev/full"});
    const std::string pid = subscribe({first});
    const ProcessResult result = written({"/gain", "4"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("varnix: the server sent it to nobody: "));
    settle();
    EXPECT_THAT(lineOf(pid), HasSubstr("\t0 writes\t"));
    EXPECT_EQ(varnix({"get", "--pid", pid, "/gain"}).out, "1 2\n");
}

TEST_F(Write, TheFirstWordEndsTheOptions)
{
    startServer();
    const std::string pid = subscribe({first});
    const std::string taken = pid + "\tholder\t" + first;
    expectResult(varnix({"write", "db", "--json", "/gain", "7"}), 0, taken + " 1 2 -> 7 2\n", "");
    expectResult(varnix({"write", "db", "--", "/gain", "8"}), 0, taken + " 7 2 -> 8 2\n", "");
    EXPECT_THAT(written({"--force", "1"}).err, HasSubstr("no database holds --force; "));
}

TEST_F(Write, WithoutASubscriberNobodyTakesIt)
{
    startServer();
    expectResult(written({"/gain", "1"}), 1, "", "varnix: the server has no subscriber\n");
}

TEST_F(Write, WithoutAServerTheNodeCannotBeUsed)
{
    const ProcessResult result = written({"/gain", "1"});
    const std::string message = "varnix: no subscription server runs here";
    expectResult(result, 5, "", message + "\n");
    EXPECT_EQ(written({"/gain", "1"}, {"--json"}).out,
              R"({"errors":[{"message":")" + message + "\",\"status\":5}]}\n");
}

TEST_F(Write, WithoutMailboxesTheNodeCannotBeUsed)
{
    ::setenv("VARNIX_ITC_DIR", "/dev/null", 1);
    const ProcessResult result = written({"/gain", "1"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, EndsWith("\nvarnix: mailboxes cannot be used here; VARNIX_ITC_DIR may "
                                     "name another directory\n"));
}

TEST_F(Write, WhatNoConfigurationTakesIsNotSentButByForce)
{
    startServer();
    const std::string pid = subscribe({second});
    const ProcessResult kept = written({"/gain", "1", "2"}, {"--config", second});
    expectResult(kept, 1, "",
                 notSent + second +
                     "\trefused: Can not update a key with 1 values, with  2 values\n");
    EXPECT_THAT(lineOf(pid), HasSubstr("\t0 writes\t"));

    EXPECT_EQ(written({"/gain", "1", "2"}, {"--config", second, "--force"}).status, 1);
    EXPECT_THAT(lineOf(pid), HasSubstr("\t1 writes\t"));
    EXPECT_EQ(written({"/gain", "4"}, {"--config", first, "--config", second}).status, 0);
    expectResult(written({"/gian", "4"}, {"--config", second}), 1, "",
                 notSent + "varnix: no database holds /gian; the nearest: /gain /board /empty\n");
}

TEST_F(Write, WhatCannotBeTriedIsNotSentButByForce)
{
    startServer();
    const std::string pid = subscribe({first});
    EXPECT_EQ(written({"/gain", "4"}, {"--config", "absent.cfg"}).status, 5);
    EXPECT_THAT(lineOf(pid), HasSubstr("\t0 writes\t"));
    EXPECT_EQ(written({"/gain", "4"}, {"--config", "absent.cfg", "--force"}).status, 0);
    EXPECT_THAT(lineOf(pid), HasSubstr("\t1 writes\t"));
}

TEST_F(Write, WhatASchemaRefusesIsNotSentButByForce)
{
    write("s", "/gain U16 0..63\n");
    startServer();
    const std::string pid = subscribe({second});
    const ProcessResult kept =
        written({"/gain", "64"}, {"--config", second, "--schema", m_directory / "s"});
    expectResult(kept, 1, "",
                 notSent + second + "\trefused: 64 is above 63 (" + (m_directory / "s").string() +
                     ":1)\n");
    EXPECT_THAT(lineOf(pid), HasSubstr("\t0 writes\t"));
    EXPECT_EQ(written({"/gain", "63"}, {"--config", second, "--schema", m_directory / "s"}).status,
              0);
    EXPECT_EQ(
        written({"/gain", "64"}, {"--force", "--config", second, "--schema", m_directory / "s"})
            .status,
        0);
}

TEST_F(Write, AsADocumentSaysTheSame)
{
    startServer();
    const std::string pid = subscribe({first, second});
    const Json document = Json::parse(written({"/gain", "5", "2"}, {"--json"}).out);
    const Json taken{{"config", first},
                     {"result", "taken"},
                     {"before", {{"type", "U16"}, {"value", {1, 2}}}},
                     {"after", {{"type", "U16"}, {"value", {5, 2}}}}};
    const Json refused{{"config", second},
                       {"result", "refused"},
                       {"before", {{"type", "U16"}, {"value", {3}}}},
                       {"message", "Can not update a key with 1 values, with  2 values"}};
    const Json subscriber{
        {"pid", std::stoi(pid)}, {"command", "holder"}, {"databases", {taken, refused}}};
    EXPECT_EQ(document, Json({{"words", {"db", "write", "/gain", "5", "2"}},
                              {"subscribers", {subscriber}},
                              {"errors", Json::array()}}));
}

TEST_F(Write, AsADocumentNamesWhatDidNotHappen)
{
    startServer();
    const std::string pid = subscribe({first});
    const auto documentOf = [this](const std::vector<std::string>& words) {
        return Json::parse(written(words, {"--json"}).out);
    };
    EXPECT_EQ(documentOf({"/gain", "1"})["subscribers"][0]["databases"][0]["result"], "unchanged");

    const Json subscriber{
        {"pid", std::stoi(pid)}, {"command", "holder"}, {"databases", Json::array()}};
    const Json error{
        {"message", "varnix: no database holds /gian; the nearest: /gain /board /label"},
        {"status", 1}};
    EXPECT_EQ(documentOf({"/gian", "1"}), Json({{"words", {"db", "write", "/gian", "1"}},
                                                {"subscribers", {subscriber}},
                                                {"errors", {error}}}));

    holders.back()->signal(SIGSTOP);
    EXPECT_EQ(documentOf({"/gain", "4"})["subscribers"][0]["message"], "not applied yet");
    holders.back()->signal(SIGCONT);
}

/** Confirms one write to a process over a connection that the process has not got yet. */
void confirmOverANewConnection(pid_t process)
{
    Dbcsi::Mailbox::Message request;
    do
        request = Dbcsi::Mailbox::receive(patience);
    while (request && request->msgno != Dbcsi::DBCSI_CONTROL_WRITE_REQ);
    ASSERT_TRUE(request);
    const std::uint32_t reference = Dbcsi::decodeRequest(bytesOf(request)).reference;
    const Dbcsi::Receiver receiver{process, 0, 1, Dbcsi::ControlOutcome::SENT, "holder", 7, 0};
    EXPECT_TRUE(
        send(Dbcsi::Mailbox::fromBytes(encode(Dbcsi::WriteConfirmation{reference, {receiver}})),
             senderOf(request)));
}

TEST_F(Write, ACountOfAnEarlierConnectionSaysNothingOfAWrite)
{
    const std::string pid = hold({first});
    std::promise<void> serves;
    std::thread played([&] {
        EXPECT_TRUE(Dbcsi::Mailbox::initialise(1));
        EXPECT_NE(Dbcsi::Mailbox::create(Dbcsi::serverMailboxName), ITC_NO_MBOX_ID);
        serves.set_value();
        confirmOverANewConnection(std::stoi(pid));
    });
    serves.get_future().wait();
    expectResult(written({"/gain", "5", "6"}), 1, pid + "\tholder\tnot applied yet\n", "");
    played.join();
}

TEST_F(Write, LeavesNoOldValueForInstallToName)
{
    startServer();
    subscribe({first});
    EXPECT_EQ(written({"/gain", "5", "6"}).status, 0);
    DbBuilder().u16("/gain", {7, 8}).text("/label", "a label").write(m_directory / "new.db");
    expectResult(varnix({"install", "new.db", node / "first.db"}), 0, "", "");
}

} // namespace

} // namespace Varnix::Test

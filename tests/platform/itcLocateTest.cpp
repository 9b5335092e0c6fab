// Locate: answered when a mailbox of that name exists, now or later, by it and only once.
#include "itcSupport.h"

#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

using namespace ItcTest;

namespace {

class ItcLocate : public MailboxDirectory
{
};

/** A mailbox of that name, until a message comes. */
void runMailbox(const std::string& name, const Event& created)
{
    open(name);
    created.set();
    receive();
}

/** The same in a thread of this process. */
std::thread serve(const std::string& name)
{
    return std::thread([name] {
        open(name);
        receive();
    });
}

/** Asks for a server that is not there yet, and answers it when it comes. */
void answerALateServer(const Event& waiting)
{
    open("client");
    locate("server", 7);
    EXPECT_FALSE(receive(0));
    waiting.set();
    const auto answer = receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(7U, answer->number);
    send(answer->sender, 1);
}

/** A server that comes, and must hear from its client. */
void comeAsTheServer()
{
    open("server");
    EXPECT_EQ(1U, receiveNumber());
}

TEST_F(ItcLocate, AMailboxThatExistsIsFoundAtOnce)
{
    const Event created;
    Process server([&] { runMailbox("server", created); });
    ASSERT_TRUE(created.wait());
    inProcess([] {
        open("client");
        locate("server", 7);
        const auto answer = receive(0);
        ASSERT_TRUE(answer) << "without waiting";
        EXPECT_EQ(7U, answer->number);
        send(answer->sender, 1);
    });
    EXPECT_EQ(0, server.wait()) << "the answer's sender is the mailbox";
}

TEST_F(ItcLocate, AMailboxThatComesLaterIsFoundThen)
{
    const Event waiting;
    Process client([&] { answerALateServer(waiting); });
    ASSERT_TRUE(waiting.wait());
    inProcess(comeAsTheServer);
    EXPECT_EQ(0, client.wait());
}

TEST_F(ItcLocate, MailboxesOfOtherNamesAreNotFound)
{
    inProcess([] {
        open("client");
        locate("server", 7);
        for (const char* const name : {"Server", "server2", "serve", ""}) {
            std::thread([&] { open(name); }).join();
            EXPECT_FALSE(receive(0)) << name;
        }
        std::thread server = serve("server");
        const auto answer = receive();
        ASSERT_TRUE(answer);
        send(answer->sender, 1);
        server.join();
    });
}

TEST_F(ItcLocate, AnAnswerComesOnce)
{
    inProcess([] {
        open("client");
        locate("server", 7);
        for (int i = 0; i < 10; ++i)
            std::thread([] { open("server"); }).join();
        std::thread server = serve("server");
        const auto answer = receive();
        ASSERT_TRUE(answer);
        send(answer->sender, 1);
        server.join();
        EXPECT_FALSE(receive(0));
    });
}

TEST_F(ItcLocate, EveryLocateIsAnswered)
{
    inProcess([] {
        open("client");
        locate("a", 1);
        locate("b", 2);
        locate("a", 3);
        std::thread a = serve("a");
        const auto first = receive();
        EXPECT_EQ(1U, first->number);
        EXPECT_EQ(3U, receiveNumber());
        std::thread b = serve("b");
        const auto second = receive();
        EXPECT_EQ(2U, second->number);
        send(first->sender, 0);
        send(second->sender, 0);
        a.join();
        b.join();
    });
    EXPECT_EQ(0U, entries());
}

TEST_F(ItcLocate, ANameLeftByAKilledProcessIsNotFound)
{
    const Event created;
    Process server([&] { runMailbox("server", created); });
    ASSERT_TRUE(created.wait());
    server.kill();
    const Event waiting;
    Process client([&] { answerALateServer(waiting); });
    ASSERT_TRUE(waiting.wait());
    inProcess(comeAsTheServer);
    EXPECT_EQ(0, client.wait());
}

TEST_F(ItcLocate, OnesOwnMailboxIsFound)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        EXPECT_EQ(mine, find("mine"));
    });
}

TEST_F(ItcLocate, TheAnswerGoesToTheMailboxThatIsNamed)
{
    const Event created;
    Process receiver([&] {
        open("receiver");
        created.set();
        const auto answer = receive();
        ASSERT_TRUE(answer);
        EXPECT_EQ(7U, answer->number);
        send(answer->sender, 1);
    });
    ASSERT_TRUE(created.wait());
    inProcess([&] {
        open("asker");
        locate("server", 7, find("receiver"));
    });
    inProcess(comeAsTheServer);
    EXPECT_EQ(0, receiver.wait());
}

TEST_F(ItcLocate, AStoppedWaiterHoldsUpNoNewMailbox)
{
    const Event waiting;
    Process client([&] {
        open("client");
        locate("server", 7);
        waiting.set();
        EXPECT_EQ(7U, receiveNumber());
    });
    ASSERT_TRUE(waiting.wait());
    client.stop();
    inProcess([] {
        init();
        for (int i = 0; i < 200; ++i)
            std::thread([] { open("other"); }).join();
    });
    const Event created;
    Process server([&] { runMailbox("server", created); });
    ASSERT_TRUE(created.wait());
    client.resume();
    EXPECT_EQ(0, client.wait());
}

/** The entries of the directory that begin with `prefix`. */
std::size_t entriesLike(const std::filesystem::path& directory, const std::string& prefix)
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        count += entry.path().filename().native().starts_with(prefix) ? 1U : 0U;
    return count;
}

TEST_F(ItcLocate, AWaiterHasOneEntryForAllItsNames)
{
    inProcess([this] {
        open("client");
        for (const char* const name : {"a", "b", "c"}) {
            locate(name, 1);
            EXPECT_EQ(1U, entriesLike(directory(), "w-")) << name;
        }
    });
}

TEST_F(ItcLocate, ALocateOfNothingIsNoError)
{
    inProcess([] {
        open("mine");
        itc_msg* none = nullptr;
        __itc_locate_async("mine", &none, ITC_MY_MBOX_ID, "", 0);
        __itc_locate_async("mine", nullptr, ITC_MY_MBOX_ID, "", 0);
        itc_msg* message = alloc(1);
        __itc_locate_async(nullptr, &message, ITC_MY_MBOX_ID, "", 0);
        EXPECT_EQ(nullptr, message);
        EXPECT_FALSE(receive(0));
    });
}

TEST_F(ItcLocate, ADeadWaitersEntryGoesWithTheNextMailbox)
{
    inProcess([this] {
        init(); // before there is anything to remove
        const Event waiting;
        Process client([&] { answerALateServer(waiting); });
        ASSERT_TRUE(waiting.wait());
        EXPECT_EQ(1U, entriesLike(directory(), "w-"));
        client.kill();
        open("another");
        EXPECT_EQ(0U, entriesLike(directory(), "w-"));
    });
}

TEST_F(ItcLocate, ADeadOwnersEndpointGoesWithItsName)
{
    inProcess([this] {
        init(); // before there is anything to remove
        const Event created;
        Process server([&] { runMailbox("server", created); });
        ASSERT_TRUE(created.wait());
        server.kill();
        EXPECT_EQ(1U, entriesLike(directory(), "m-"));
        open("server");
        EXPECT_EQ(1U, entriesLike(directory(), "m-"));
        EXPECT_EQ(1U, entriesLike(directory(), "n-"));
    });
}

TEST_F(ItcLocate, AClientFindsEveryRestartOfAKilledServer)
{
    constexpr int restarts = 100;
    const Event answered;
    Process client([&] {
        open("client");
        for (int i = 0; i < restarts; ++i) {
            const std::uint32_t server = find("server");
            monitor(server, 2);
            answered.set();
            const auto gone = receive();
            ASSERT_TRUE(gone);
            EXPECT_EQ(2U, gone->number);
            EXPECT_EQ(server, gone->sender);
        }
    });
    for (int i = 0; i < restarts; ++i) {
        Process server([] {
            open("server");
            receive();
        });
        ASSERT_TRUE(answered.wait()) << i;
        server.kill();
    }
    EXPECT_EQ(0, client.wait());
}

} // namespace

// What a forked child has of its parent's mailboxes.
#include "itcSupport.h"

#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

class ItcFork : public MailboxDirectory
{
};

TEST_F(ItcFork, AForkedChildHasNoMailboxAndMayHaveItsOwn)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        send(ITC_MY_MBOX_ID, 1);
        inProcess([mine] {
            EXPECT_EQ(nullptr, receiveRaw(ITC_NO_TMO));
            EXPECT_EQ(0, init());
            EXPECT_EQ(ITC_NO_MBOX_ID, create("mine"));
            EXPECT_NE(mine, open("child's"));
            send(mine, 2);
        });
        EXPECT_EQ(1U, receiveNumber());
        EXPECT_EQ(2U, receiveNumber());
        EXPECT_EQ(mine, find("mine"));
    });
}

TEST_F(ItcFork, AForkedChildDoesNotKeepItsParentsMailboxAlive)
{
    const Event watched;
    const Event over;
    Process parent([&] {
        open("parent");
        Process child([&] { over.wait(); });
        std::thread([&] {
            // A mailbox of another thread, with a connection that has been accepted.
            open("another");
            receiveRaw();
        }).join();
    });
    Process watcher([&] {
        open("watcher");
        monitor(find("parent"), 1);
        const std::uint32_t another = find("another");
        monitor(another, 2);
        watched.set();
        EXPECT_TRUE(receive(patience, {1}));
        EXPECT_TRUE(receive(patience, {2}));
    });
    ASSERT_TRUE(watched.wait());
    parent.kill();
    EXPECT_EQ(0, watcher.wait());
    over.set();
}

TEST_F(ItcFork, AForkedChildDoesNotSendWhatItsParentOwes)
{
    Process other([] {
        open("other");
        EXPECT_EQ(1U, receiveNumber());
        EXPECT_EQ(2U, receiveNumber());
    });
    inProcess([] {
        open("mine");
        const std::uint32_t to = find("other");
        std::optional<Limit> none(std::in_place, RLIMIT_NOFILE, 0);
        send(to, 1);
        const pid_t child = ::fork();
        if (child == 0) {
            none.reset();
            const bool made = init() == 0 && create("child's") != ITC_NO_MBOX_ID;
            receive(300); // longer than what is owed is put off
            ::_exit(made ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
        none.reset();
        EXPECT_FALSE(receive(300));
        send(to, 2);
    });
    EXPECT_EQ(0, other.wait());
}

TEST_F(ItcFork, AForkWhileOtherThreadsSendAndReceiveIsSafe)
{
    inProcess([] {
        const std::uint32_t mine = open("main");
        std::thread busy([mine] {
            open("busy");
            while (!receive(0))
                send(mine, 1);
        });
        const std::uint32_t theirs = find("busy");
        for (int i = 0; i < 100; ++i) {
            const pid_t child = ::fork();
            if (child == 0)
                ::_exit(init() == 0 &&
                                create("child" + std::to_string(::getpid())) != ITC_NO_MBOX_ID
                            ? 0
                            : 1);
            int status = -1;
            ::waitpid(child, &status, 0);
            EXPECT_EQ(0, status);
            EXPECT_EQ(1U, receiveNumber());
        }
        send(theirs, 2);
        busy.join();
    });
}

} // namespace

// Processes that are stopped, renamed, cut off or changed while others need them.
#include "conversation.h"
#include "tests/platform/itcSupport.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace HostileTest;
using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

class HostileProcess : public MailboxDirectory
{
protected:
    /** Locks the directory as a process does that was stopped in the middle. */
    int lock() const
    {
        const int held = ::open(directory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(0, ::flock(held, LOCK_EX | LOCK_NB));
        return held;
    }

    /** Leaves the name of a server that was killed. */
    static void leaveADeadServer()
    {
        const Event created;
        Process server([&] {
            open("server");
            created.set();
            receiveRaw();
        });
        ASSERT_TRUE(created.wait());
        server.kill();
    }
};

TEST_F(HostileProcess, TheLockOfAStoppedOneHoldsUpNoNewNames)
{
    const int held = lock();
    converse([] {}, [] {});
    ::close(held);
}

TEST_F(HostileProcess, TheLockOfAStoppedOneHoldsUpADeadOnesNameUntilItIsFree)
{
    leaveADeadServer();
    const int held = lock();
    const Event begun;
    Process client([&] {
        ::close(held);
        beginClient();
        begun.set();
        finishClient();
    });
    ASSERT_TRUE(begun.wait());
    Process server([&] {
        ::close(held);
        testing::internal::CaptureStderr();
        open("server");
        EXPECT_FALSE(receive(20));
        const std::string report = testing::internal::GetCapturedStderr();
        EXPECT_NE(std::string::npos,
                  report.find("another process holds the lock of the mailbox directory " +
                              directory().native() + " (fuser shows which; it may be stopped): "))
            << report;
        begun.set();
        const auto asked = receive(patience, {hello});
        ASSERT_TRUE(asked);
        send(asked->sender, written);
    });
    ASSERT_TRUE(begun.wait());
    ::close(held);
    EXPECT_EQ(0, server.wait());
    EXPECT_EQ(0, client.wait());
}

TEST_F(HostileProcess, TheLockOfAStoppedOneHoldsUpNoExitAndNoFork)
{
    leaveADeadServer();
    const int held = lock();
    inProcess([] {
        open("server");
        std::thread waiting([] {
            open("client");
            receiveRaw(ITC_NO_TMO);
        });
        waiting.detach();
        for (int i = 0; i < 20; ++i) {
            const pid_t child = ::fork();
            if (child == 0)
                std::exit(0);
            int status = -1;
            EXPECT_EQ(child, ::waitpid(child, &status, 0));
            EXPECT_EQ(0, status);
        }
    });
    ::close(held);
}

TEST_F(HostileProcess, AStandardErrorThatNobodyReadsHoldsUpNoExit)
{
    leaveADeadServer();
    const int held = lock();
    inProcess([] {
        int ends[2];
        ASSERT_EQ(0, ::pipe2(ends, O_NONBLOCK));
        while (::write(ends[1], "x", 1) == 1) {
        }
        ::fcntl(ends[1], F_SETFL, 0);
        const int before = ::dup(STDERR_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        open("server");
        EXPECT_FALSE(receive(5));
        ::dup2(before, STDERR_FILENO);
    });
    ::close(held);
}

TEST_F(HostileProcess, AClosedStandardErrorIsNoObstacle)
{
    converse([] { ::close(STDERR_FILENO); }, [] { ::close(STDERR_FILENO); });
}

TEST_F(HostileProcess, AClosedStandardInputIsNoObstacle)
{
    converse([] { ::close(STDIN_FILENO); }, [] { ::close(STDIN_FILENO); });
}

TEST_F(HostileProcess, DescriptorsThatAreClosedByTheClientEndAReceiveWithAReport)
{
    inProcess([] {
        beginClient();
        testing::internal::CaptureStderr();
        const auto events = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        for (int fd = 3; fd < events; ++fd) {
            char path[64] = {};
            const std::string link = "/proc/self/fd/" + std::to_string(fd);
            if (::readlink(link.c_str(), path, sizeof path - 1) > 0 &&
                std::string(path).find("eventpoll") != std::string::npos)
                ::close(fd);
        }
        EXPECT_EQ(nullptr, receiveRaw(ITC_NO_TMO));
        const std::string report = testing::internal::GetCapturedStderr();
        EXPECT_NE(std::string::npos, report.find("cannot wait for messages")) << report;
    });
}

TEST_F(HostileProcess, AUmaskThatLetsNobodyInIsNoObstacle)
{
    fs::remove(directory());
    converse([] { ::umask(0777); }, [] { ::umask(0777); });
}

TEST_F(HostileProcess, AChangedWorkingDirectoryIsNoObstacle)
{
    const fs::path before = fs::current_path();
    fs::current_path(directory().parent_path());
    ::setenv("VARNIX_ITC_DIR", directory().filename().c_str(), 1);
    converse([] { init(), fs::current_path("/"); }, [] { init(), fs::current_path("/"); });
    fs::current_path(before);
}

TEST_F(HostileProcess, ARemovedDirectoryTakesNothingFromThoseWhoAreConnected)
{
    const Event removed;
    const Event met;
    Process server([&] {
        open("server");
        const auto asked = receive(patience, {hello});
        ASSERT_TRUE(asked);
        met.set();
        EXPECT_TRUE(removed.wait());
        send(asked->sender, written);
    });
    Process client([&] {
        open("client");
        send(find("server"), hello);
        EXPECT_EQ(written, receiveNumber());
    });
    ASSERT_TRUE(met.wait());
    Process again([&] {
        // Both are connected in both directions.
        open("again");
    });
    EXPECT_EQ(0, again.wait());
    removed.set();
    EXPECT_EQ(0, client.wait());
    EXPECT_EQ(0, server.wait());
    fs::remove_all(directory());
}

} // namespace

// What a mailbox costs and what it leaves: cancellation, many of them, idle ones.
#include "itcSupport.h"
#include "tests/support/waitUntil.h"

#include <functional>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

class ItcLifetime : public MailboxDirectory
{
};

/** Runs a thread until it is cancelled. */
void cancelOne(void* (*body)(void*), void* argument, const Event& begun)
{
    pthread_t thread{};
    ASSERT_EQ(0, ::pthread_create(&thread, nullptr, body, argument));
    ASSERT_TRUE(begun.wait());
    ASSERT_EQ(0, ::pthread_cancel(thread));
    void* result = nullptr;
    ASSERT_EQ(0, ::pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
}

/** What a cancelled thread's frames leave behind. */
struct Scene
{
    Event begun;
    int destroyed = 0;

    class Witness
    {
    public:
        explicit Witness(Scene& scene) : m_scene(scene) {}
        Witness(const Witness&) = delete;
        Witness& operator=(const Witness&) = delete;
        ~Witness() { ++m_scene.destroyed; }

    private:
        Scene& m_scene;
    };
};

void* blockedReceiver(void* argument)
{
    auto& scene = *static_cast<Scene*>(argument);
    const Scene::Witness witness(scene);
    open("subscriber");
    locate("nobody", 1);
    scene.begun.set();
    receiveRaw(ITC_NO_TMO);
    return nullptr;
}

TEST_F(ItcLifetime, ABlockedReceiveIsACancellationPointThatLeavesNothing)
{
    inProcess([this] {
        Scene scene;
        cancelOne(&blockedReceiver, &scene, scene.begun);
        const std::size_t descriptors = openDescriptors();
        const std::size_t before = threads();
        for (int i = 0; i < 200; ++i)
            cancelOne(&blockedReceiver, &scene, scene.begun);
        EXPECT_EQ(descriptors, openDescriptors());
        // A thread that was joined may still be on its way out.
        EXPECT_TRUE(Varnix::Test::waitUntil([&] { return threads() <= before; }));
        EXPECT_EQ(201, scene.destroyed);
        EXPECT_EQ(0U, entries());
        open("subscriber");
    });
}

TEST_F(ItcLifetime, AReceiveThatNeverBlocksIsACancellationPointToo)
{
    inProcess([] {
        Event begun;
        const auto flooded = [](void* argument) -> void* {
            open("flooded");
            send(ITC_MY_MBOX_ID, 1);
            static_cast<Event*>(argument)->set();
            for (;;)
                send(ITC_MY_MBOX_ID, receiveNumber());
        };
        cancelOne(flooded, &begun, begun);
    });
}

TEST_F(ItcLifetime, AThreadThatIsNotToBeCancelledIsNot)
{
    inProcess([] {
        open("mine");
        ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        ::pthread_cancel(::pthread_self());
        EXPECT_FALSE(receive(1));
        send(ITC_MY_MBOX_ID, 1);
        EXPECT_EQ(1U, receiveNumber());
    });
}

TEST_F(ItcLifetime, OnlyAReceiveIsACancellationPoint)
{
    inProcess([] {
        const auto body = [](void*) -> void* {
            ::pthread_cancel(::pthread_self());
            const std::uint32_t mine = open("mine");
            locate("nobody", 1);
            monitor(mine, 2);
            send(mine, 3);
            return reinterpret_cast<void*>(std::uintptr_t{mine});
        };
        pthread_t thread{};
        ::pthread_create(&thread, nullptr, body, nullptr);
        void* result = nullptr;
        ::pthread_join(thread, &result);
        EXPECT_NE(PTHREAD_CANCELED, result);
    });
}

TEST_F(ItcLifetime, TenThousandMailboxesLeaveWhatOneLeaves)
{
    inProcess([this] {
        const std::uint32_t mine = open("resident");
        const auto live = [&](std::uint32_t number) {
            std::thread([&] {
                open("passing");
                send(mine, number);
                monitor(mine, 1);
                locate("nobody", 2);
            }).join();
            const auto received = receive();
            ASSERT_TRUE(received);
            EXPECT_EQ(number, received->number);
            send(received->sender, 1);
        };
        const auto heap = [] { return mallinfo2().uordblks; };
        for (std::uint32_t i = 0; i < 100; ++i)
            live(i);
        const std::size_t descriptors = openDescriptors();
        const std::size_t memory = heap();
        const std::size_t before = threads();
        for (std::uint32_t i = 0; i < 9'900; ++i)
            live(i);
        EXPECT_EQ(descriptors, openDescriptors());
        EXPECT_LT(heap(), memory + 4096);
        EXPECT_EQ(before, threads());
        EXPECT_EQ(2U, entries());
    });
}

/** Memory that the streams of this process hold, in bytes. */
std::size_t streamMemory()
{
    std::size_t sum = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        struct stat status
        {
        };
        if (fs::read_symlink(entry, error).native().starts_with("/memfd:itc") &&
            ::stat(entry.path().c_str(), &status) == 0)
            sum += static_cast<std::size_t>(status.st_blocks) * 512;
    }
    return sum;
}

TEST_F(ItcLifetime, WhatHasBeenReceivedHoldsNoMemory)
{
    inProcess([] {
        const std::uint32_t mine = open("receiver");
        std::thread([&] {
            open("sender");
            for (int i = 0; i < 100; ++i)
                send(mine, 1, 1'000'000);
        }).join();
        EXPECT_EQ(1U, receiveNumber());
        while (receive(0)) {
        }
        EXPECT_LT(streamMemory(), std::size_t{2} << 20);
    });
}

/** Expects a wait to leave the processor alone; what wakes it may do so so many times. */
void expectIdle(long wakes, const std::function<void()>& wait)
{
    const auto usage = [] {
        rusage used{};
        ::getrusage(RUSAGE_THREAD, &used);
        return std::pair(used.ru_nvcsw, (used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1'000'000 +
                                            used.ru_utime.tv_usec + used.ru_stime.tv_usec);
    };
    const auto before = usage();
    wait();
    const auto after = usage();
    EXPECT_LE(after.first - before.first, wakes) << "times that it gave up the processor";
    EXPECT_LE(after.second - before.second, 5'000L * Varnix::Test::slowness())
        << "microseconds of processor time";
}

TEST_F(ItcLifetime, AnIdleClientUsesNoProcessorTime)
{
    inProcess([] {
        const std::size_t alone = threads();
        open("client");
        locate("nobody", 1);
        EXPECT_EQ(alone, threads());
        expectIdle(5, [] { EXPECT_FALSE(receive(300)); });
    });
}

TEST_F(ItcLifetime, AWaitWithoutAnEndUsesNoProcessorTime)
{
    const Event created;
    Process client([&] {
        open("client");
        created.set();
        // The sender's look for it and each connection wake it, too.
        expectIdle(20, [] { EXPECT_EQ(1U, receiveNumber(ITC_NO_TMO)); });
    });
    ASSERT_TRUE(created.wait());
    inProcess([] {
        open("sender");
        EXPECT_FALSE(receive(300));
        send(find("client"), 1);
    });
    EXPECT_EQ(0, client.wait());
}

TEST_F(ItcLifetime, EveryDescriptorIsClosedByAnotherProgram)
{
    inProcess([] {
        const auto count = [] {
            std::size_t inherited = 0;
            for (int fd = 0; fd < 256; ++fd) {
                const int flags = ::fcntl(fd, F_GETFD);
                inherited += flags >= 0 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
            }
            return inherited;
        };
        const std::size_t before = count();
        const std::uint32_t mine = open("mine");
        locate("nobody", 1);
        const Event ready;
        const Event over;
        std::thread another([&] {
            const std::uint32_t theirs = open("another");
            monitor(mine, 2);
            send(mine, theirs);
            ready.set();
            over.wait();
        });
        ready.wait();
        send(receiveNumber(), 3);
        EXPECT_EQ(before + 4, count()) << "the two events' own";
        over.set();
        another.join();
    });
}

TEST_F(ItcLifetime, AProcessThatIsOutOfDescriptorsSaysSoAndSendsWhenItHasSome)
{
    inProcess([] {
        const std::uint32_t mine = open("mine");
        const Event created;
        const Event over;
        std::thread another([&] {
            open("another");
            created.set();
            over.wait();
            EXPECT_EQ(1U, receiveNumber());
            EXPECT_EQ(2U, receiveNumber());
        });
        created.wait();
        const std::uint32_t theirs = find("another");
        testing::internal::CaptureStderr();
        {
            const Limit none(RLIMIT_NOFILE, 0);
            send(theirs, 1);
            send(mine, 3);
            EXPECT_EQ(3U, receiveNumber());
        }
        EXPECT_NE(std::string::npos,
                  testing::internal::GetCapturedStderr().find("Too many open files"));
        send(theirs, 2);
        over.set();
        another.join();
    });
}

TEST_F(ItcLifetime, AMailboxThatIsOutOfDescriptorsWaitsForOnesInsteadOfSpinning)
{
    const Event created;
    const Event sent;
    const Event tried;
    Process receiver([&] {
        open("receiver");
        created.set();
        EXPECT_TRUE(sent.wait());
        {
            const Limit none(RLIMIT_NOFILE, 0);
            rusage used{};
            ::getrusage(RUSAGE_SELF, &used);
            const auto begin = used.ru_stime.tv_usec + used.ru_utime.tv_usec;
            EXPECT_FALSE(receive(100));
            ::getrusage(RUSAGE_SELF, &used);
            EXPECT_LT(used.ru_stime.tv_usec + used.ru_utime.tv_usec - begin,
                      20'000L * Varnix::Test::slowness());
        }
        EXPECT_EQ(1U, receiveNumber());
    });
    ASSERT_TRUE(created.wait());
    inProcess([] {
        open("sender");
        send(find("receiver"), 1);
    });
    sent.set();
    EXPECT_EQ(0, receiver.wait());
}

} // namespace

#include "readMostlyLock.h"

#include "tests/support/endChild.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"

#include <atomic>
#include <barrier>
#include <future>
#include <mutex>
#include <shared_mutex>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Backend {
namespace {

using Shared = std::shared_lock<ReadMostlyLock>;
using Exclusive = std::unique_lock<ReadMostlyLock>;
using Test::endChild;
using Test::patience;
using Test::waitUntil;

/** Threads that are joined at the end of the scope. */
class Threads
{
public:
    ~Threads()
    {
        for (std::thread& thread : m_threads)
            thread.join();
    }

    template <typename Work>
    void start(int count, Work work)
    {
        for (int i = 0; i < count; ++i)
            m_threads.emplace_back(work);
    }

private:
    std::vector<std::thread> m_threads;
};

bool finishes(std::future<void>& work)
{
    return work.wait_for(patience) == std::future_status::ready;
}

bool waits(std::future<void>& work)
{
    return work.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
}

template <typename Lock>
std::future<void> pass(ReadMostlyLock& lock)
{
    return std::async(std::launch::async, [&lock] { const Lock passing(lock); });
}

/** Starts to pass a lock that is taken; the thread must be asleep many looks in a row. */
template <typename Lock>
std::future<void> passAsleep(ReadMostlyLock& lock)
{
    std::promise<pid_t> id;
    std::future<pid_t> thread = id.get_future();
    auto passing = std::async(std::launch::async, [&lock, id = std::move(id)]() mutable {
        id.set_value(::gettid());
        const Lock entered(lock);
    });
    int looks = 0;
    EXPECT_TRUE(waitUntil([&looks, waiter = thread.get()] {
        looks = Test::isAsleep(waiter) ? looks + 1 : 0;
        return looks == 50;
    }));
    return passing;
}

/** Has all threads meet while each of them holds the lock shared. */
void meetInside(ReadMostlyLock& lock, int readers)
{
    std::barrier inside(readers);
    Threads threads;
    threads.start(readers, [&] {
        const Shared reading(lock);
        inside.arrive_and_wait(); // passes only when every reader is in
    });
}

TEST(ReadMostlyLock, LetsReadersInTogether)
{
    ReadMostlyLock lock;
    meetInside(lock, 2);
    meetInside(lock, 40); // more than there are slots
}

TEST(ReadMostlyLock, LetsAThreadReadTwice)
{
    ReadMostlyLock lock;
    const Shared outer(lock);
    const Shared inner(lock);
}

TEST(ReadMostlyLock, IsFreeAfterEachUse)
{
    ReadMostlyLock lock;
    for (int i = 0; i < 3; ++i) {
        lock.lock();
        lock.unlock();
        lock.lock_shared();
        lock.unlock_shared();
    }
}

TEST(ReadMostlyLock, KeepsReadersAndWritersOutWhileAWriterIsInside)
{
    ReadMostlyLock lock;
    Exclusive writing(lock);
    std::future<void> reader = pass<Shared>(lock);
    std::future<void> writer = pass<Exclusive>(lock);
    EXPECT_TRUE(waits(reader));
    EXPECT_TRUE(waits(writer));
    writing.unlock();
    EXPECT_TRUE(finishes(reader));
    EXPECT_TRUE(finishes(writer));
}

TEST(ReadMostlyLock, KeepsAWriterOutUntilTheLastReaderLeaves)
{
    ReadMostlyLock lock;
    std::promise<void> first;
    std::promise<void> second;
    std::atomic<int> inside{0};
    const auto readUntil = [&](std::future<void> leave) {
        const Shared reading(lock);
        ++inside;
        leave.wait();
    };
    std::thread firstReader(readUntil, first.get_future());
    std::thread secondReader(readUntil, second.get_future());
    ASSERT_TRUE(waitUntil([&] { return inside == 2; }));

    std::future<void> writer = pass<Exclusive>(lock);
    EXPECT_TRUE(waits(writer));
    first.set_value();
    firstReader.join();
    EXPECT_TRUE(waits(writer));
    second.set_value();
    secondReader.join();
    EXPECT_TRUE(finishes(writer));
}

TEST(ReadMostlyLock, LetsThoseWhoWaitSleep)
{
    ReadMostlyLock lock;
    std::future<void> writer;
    std::future<void> reader;
    {
        const Shared reading(lock);
        writer = passAsleep<Exclusive>(lock);
    }
    EXPECT_TRUE(finishes(writer));
    {
        const Exclusive writing(lock);
        reader = passAsleep<Shared>(lock);
    }
    EXPECT_TRUE(finishes(reader));
}

TEST(ReadMostlyLock, RefusesAWriterThatIsInsideAlready)
{
    ReadMostlyLock lock;
    const auto isDeadlock = [](const auto& enter) {
        try {
            enter();
        } catch (const std::system_error& error) {
            return error.code() == std::errc::resource_deadlock_would_occur;
        }
        return false;
    };
    {
        const Exclusive writing(lock);
        EXPECT_TRUE(isDeadlock([&] { lock.lock(); }));
        EXPECT_TRUE(isDeadlock([&] { lock.lock_shared(); }));
        EXPECT_TRUE(isDeadlock([&] { const Shared reading(lock); }));
    }
    // The refusals left nothing behind.
    std::future<void> reader = pass<Shared>(lock);
    EXPECT_TRUE(finishes(reader));
    std::future<void> writer = pass<Exclusive>(lock);
    EXPECT_TRUE(finishes(writer));
}

TEST(ReadMostlyLock, RefusesNoWriterBecauseOfAnotherLock)
{
    ReadMostlyLock lock;
    ReadMostlyLock other;
    const Exclusive writing(lock);
    const Exclusive writingToo(other);
}

/** The exit status of a child that passes the lock as a reader, a writer, and a reader again. */
int passInChild(ReadMostlyLock& lock)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(static_cast<unsigned>(patience.count()));
        lock.lock_shared();
        lock.unlock_shared();
        lock.lock();
        lock.unlock();
        lock.lock_shared();
        endChild(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

TEST(ReadMostlyLock, IsFreeInAChildOfAForkWhoeverWroteBefore)
{
    ReadMostlyLock lock;
    std::promise<void> leave;
    std::promise<void> inside;
    std::thread writer([&] {
        const Exclusive writing(lock);
        inside.set_value();
        leave.get_future().wait();
    });
    inside.get_future().wait();
    EXPECT_EQ(passInChild(lock), 0);
    std::future<void> reader = pass<Shared>(lock);
    EXPECT_TRUE(waits(reader));
    leave.set_value();
    writer.join();
    EXPECT_TRUE(finishes(reader));
    EXPECT_EQ(passInChild(lock), 0);
}

TEST(ReadMostlyLock, LetsReadersInInAChildThatWasForkedWhileAWriterWaited)
{
    ReadMostlyLock lock;
    std::future<void> writer;
    {
        const Shared reading(lock);
        writer = passAsleep<Exclusive>(lock);
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(static_cast<unsigned>(patience.count()));
            lock.lock_shared();
            endChild(0);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(finishes(writer));
}

TEST(ReadMostlyLock, GivesAWriterItsTurnAmongReadersThatNeverPause)
{
    ReadMostlyLock lock;
    std::atomic<bool> done{false};
    std::atomic<int> reading{0};
    Threads readers;
    readers.start(4, [&] {
        ++reading;
        while (!done)
            const Shared inside(lock);
    });
    EXPECT_TRUE(waitUntil([&] { return reading == 4; }));
    std::future<void> writer = std::async(std::launch::async, [&] {
        for (int i = 0; i < 1000; ++i)
            const Exclusive writing(lock);
    });
    EXPECT_TRUE(finishes(writer));
    done = true;
}

TEST(ReadMostlyLock, ExcludesWritersFromReadersAndFromEachOther)
{
    ReadMostlyLock lock;
    // Plain numbers on purpose: a thread checker sees every access that the lock lets through.
    long first = 0;
    long second = 0;
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    Threads readers;
    readers.start(4, [&] {
        while (!done) {
            const Shared reading(lock);
            torn += first == second ? 0 : 1;
        }
    });
    {
        Threads writers;
        writers.start(2, [&] {
            for (int i = 0; i < 5000; ++i) {
                const Exclusive writing(lock);
                ++first;
                ++second;
            }
        });
    }
    done = true;
    EXPECT_EQ(torn, 0);
    const Shared reading(lock);
    EXPECT_EQ(first, 10000);
}

} // namespace
} // namespace Varnix::Backend

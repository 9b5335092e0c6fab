#include "threadSlot.h"

#include "processBarrier.h"
#include "tests/support/endChild.h"
#include "tests/support/waitUntil.h"

#include <algorithm>
#include <barrier>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Backend {
namespace {

using Varnix::Test::endChild;
using Varnix::Test::patience;
using Varnix::Test::waitUntil;

/** The slots of so many threads that all live at once. */
std::vector<unsigned> slotsOfThreads(unsigned threads)
{
    std::vector<unsigned> slots(threads);
    std::barrier together(static_cast<std::ptrdiff_t>(threads));
    std::vector<std::thread> running;
    for (unsigned& slot : slots)
        running.emplace_back([&slot, &together] {
            slot = ThreadSlot::mine();
            together.arrive_and_wait();
        });
    for (std::thread& thread : running)
        thread.join();
    return slots;
}

unsigned slotOfAnotherThread()
{
    return slotsOfThreads(1).front();
}

bool isAlone(unsigned slot)
{
    return slot < ThreadSlot::count;
}

TEST(ThreadSlot, StaysTheSame)
{
    const unsigned slot = ThreadSlot::mine();
    EXPECT_EQ(ThreadSlot::mine(), slot);
    EXPECT_NE(slotOfAnotherThread(), slot);
}

TEST(ThreadSlot, IsNobodyElsesUnlessItIsShared)
{
    const unsigned mine = ThreadSlot::mine();
    std::vector<unsigned> slots = slotsOfThreads(3 * ThreadSlot::count);
    slots.push_back(mine);
    std::set<unsigned> alone;
    for (const unsigned slot : slots) {
        EXPECT_LT(slot, 2 * ThreadSlot::count);
        EXPECT_TRUE(!isAlone(slot) || alone.insert(slot).second) << slot;
    }
    EXPECT_LE(alone.size(), ProcessBarrier::isOffered() ? ThreadSlot::count : 0);
}

TEST(ThreadSlot, IsHadAloneAgainWhenItsThreadHasEnded)
{
    slotsOfThreads(3 * ThreadSlot::count);
    // A thread that was joined may still be on its way out.
    EXPECT_TRUE(
        waitUntil([] { return isAlone(slotOfAnotherThread()) == ProcessBarrier::isOffered(); }));
}

TEST(ThreadSlot, StaysThatOfTheThreadInAForkedChild)
{
    const unsigned mine = ThreadSlot::mine();
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(static_cast<unsigned>(patience.count()));
        bool good = ThreadSlot::mine() == mine;
        if (isAlone(mine)) { // elsewhere ThreadSanitizer may have a child start no thread
            const auto slots = slotsOfThreads(ThreadSlot::count);
            good = good && std::find(slots.begin(), slots.end(), mine) == slots.end();
        }
        endChild(good ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

} // namespace
} // namespace Varnix::Backend

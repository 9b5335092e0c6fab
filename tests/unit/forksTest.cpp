#include "forks.h"

#include "tests/support/endChild.h"
#include "tests/support/waitUntil.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Backend {
namespace {

using Test::endChild;
using Test::waitUntil;

/** The exit status of a child that does `work`, which has to end in time. */
template <typename Work>
int inChild(const Work& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(static_cast<unsigned>(Test::patience.count()));
        endChild(work() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

/** Two numbers that change together, and a change that stops between them in one process. */
struct Pair
{
    std::atomic<int> first{0};
    std::atomic<int> second{0};
    std::atomic<bool> halfMade{false};
    std::atomic<bool> goOn{false};
};

auto changeThatStops(Pair& pair)
{
    return [to = &pair, process = Forks::generation()] {
        to->first = 1;
        to->halfMade = true;
        while (Forks::generation() == process && !to->goOn)
            std::this_thread::yield();
        to->second = 1;
    };
}

TEST(Forks, GenerationDiffersInTheChildAlone)
{
    const std::uint32_t before = Forks::generation();
    EXPECT_NE(before, 0U);
    EXPECT_EQ(inChild([=] { return Forks::generation() != before && Forks::generation() != 0; }),
              0);
    EXPECT_EQ(Forks::generation(), before);
}

TEST(Forks, ChildForkedInAChangeFindsItMadeAndCanMakeAnother)
{
    Pair pair;
    std::thread writer([&] { Forks::makeWhole(changeThatStops(pair)); });
    ASSERT_TRUE(waitUntil([&] { return pair.halfMade.load(); }));
    EXPECT_EQ(inChild([&] {
                  const bool whole = pair.first == 1 && pair.second == 1;
                  Forks::makeWhole([to = &pair] { to->second = 2; });
                  return whole && pair.second == 2;
              }),
              0);
    EXPECT_EQ(pair.second, 0);
    pair.goOn = true;
    writer.join();
    EXPECT_EQ(pair.second, 1);
}

TEST(Forks, ChildMakesNoChangeThatWasMadeBefore)
{
    Pair pair;
    Forks::makeWhole([to = &pair] { to->first = 1; });
    pair.first = 2;
    EXPECT_EQ(inChild([&] { return pair.first == 2; }), 0);
}

} // namespace
} // namespace Varnix::Backend

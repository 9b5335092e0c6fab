#include "tests/support/waitUntil.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <varnix/kit/fakeDatabase.h>
#include <varnix/kit/watcher.h>

namespace {

using namespace Varnix::Kit;
using std::chrono::milliseconds;
using Numbers = std::vector<std::uint16_t>;

class Watchers : public testing::Test
{
protected:
    /** Watches a number and notes what is told of it. */
    void watch(const std::string& key, std::uint16_t fallback = 0)
    {
        m_watcher.add(parameter(key, fallback),
                      [this, key](std::uint16_t value) { m_told.emplace_back(key, value); });
    }

    Parameter<std::uint16_t> parameter(const std::string& key, std::uint16_t fallback = 0) const
    {
        return {m_database, key, fallback};
    }

    void set(const std::string& key, std::uint16_t value) { m_database->set(key, Numbers{value}); }

    /** Whether the descriptor becomes readable within the limit. */
    bool isReadable(std::chrono::milliseconds limit) const
    {
        pollfd event{m_watcher.fd(), POLLIN, 0};
        return ::poll(&event, 1, static_cast<int>(limit.count())) == 1;
    }

    using Told = std::vector<std::pair<std::string, std::uint16_t>>;

    std::shared_ptr<FakeDatabase> m_database = std::make_shared<FakeDatabase>();
    Watcher m_watcher{milliseconds(1)};
    Told m_told;
};

TEST_F(Watchers, TellsOfEachChangeOnce)
{
    set("/a", 1);
    set("/b", 1);
    watch("/a");
    watch("/b");
    EXPECT_EQ(m_watcher.look(), 0u);
    set("/b", 2);
    EXPECT_EQ(m_watcher.look(), 1u);
    EXPECT_EQ(m_watcher.look(), 0u);
    set("/b", 3);
    set("/a", 3);
    EXPECT_EQ(m_watcher.look(), 2u);
    EXPECT_EQ(m_told, (Told{{"/b", 2}, {"/a", 3}, {"/b", 3}}));
}

TEST_F(Watchers, AChangeThatIsUndoneBetweenTwoLooksIsNone)
{
    set("/a", 1);
    watch("/a");
    set("/a", 2);
    set("/a", 1);
    EXPECT_EQ(m_watcher.look(), 0u);
}

TEST_F(Watchers, OfSeveralChangesTheLastIsTold)
{
    watch("/a");
    for (std::uint16_t value = 1; value <= 3; ++value)
        set("/a", value);
    EXPECT_EQ(m_watcher.look(), 1u);
    EXPECT_EQ(m_told, (Told{{"/a", 3}}));
}

TEST_F(Watchers, AParameterThatGoesIsToldWithItsFallback)
{
    set("/a", 1);
    set("/b", 1);
    watch("/a", 7);
    watch("/b", 8);
    m_database->remove("/a");
    m_database->set("/b", std::string("another type"));
    EXPECT_EQ(m_watcher.look(), 2u);
    set("/a", 7); // what it is taken for already
    EXPECT_EQ(m_watcher.look(), 0u);
    EXPECT_EQ(m_told, (Told{{"/a", 7}, {"/b", 8}}));
}

TEST_F(Watchers, WatchesEveryKindOfValue)
{
    using Words = std::vector<std::string>;
    Numbers numbers;
    std::string text;
    Words words;
    m_watcher.add(Parameter<Numbers>(m_database, "/list"),
                  [&](const Numbers& value) { numbers = value; });
    m_watcher.add(Parameter<std::string>(m_database, "/text", "none"),
                  [&](const std::string& value) { text = value; });
    m_watcher.add<Words>({m_database, "/text"}, [&](const Words& value) { words = value; });
    m_database->set("/list", Numbers{1, 2}).set("/text", std::string("two words"));
    EXPECT_EQ(m_watcher.look(), 3u);
    EXPECT_EQ(numbers, (Numbers{1, 2}));
    EXPECT_EQ(text, "two words");
    EXPECT_EQ(words, (Words{"two", "words"}));
    m_database->remove("/text");
    EXPECT_EQ(m_watcher.look(), 2u);
    EXPECT_EQ(text, "none");
    EXPECT_EQ(words, Words{});
}

TEST_F(Watchers, CallbacksRunOnTheLookingThreadAlone)
{
    watch("/a");
    std::optional<std::thread::id> thread;
    m_watcher.add(parameter("/a"), [&](std::uint16_t) { thread = std::this_thread::get_id(); });
    set("/a", 1);
    ASSERT_TRUE(isReadable(Varnix::Test::patience));
    EXPECT_FALSE(thread);
    m_watcher.look();
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(Watchers, TheDescriptorIsReadableEachIntervalAndNotAfterALook)
{
    Watcher slow(std::chrono::hours(1));
    pollfd event{slow.fd(), POLLIN, 0};
    EXPECT_EQ(::poll(&event, 1, 0), 0);
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(isReadable(Varnix::Test::patience));
        m_watcher.look();
    }
    // An interval may end between the look and the poll, but not every time.
    EXPECT_TRUE(Varnix::Test::waitUntil([&] {
        m_watcher.look();
        return !isReadable(milliseconds(0));
    }));
}

TEST_F(Watchers, ACallbackMayAddParameters)
{
    m_watcher.add(parameter("/a"), [this](std::uint16_t) {
        for (int i = 0; i < 100; ++i)
            watch("/new");
    });
    set("/a", 1);
    EXPECT_EQ(m_watcher.look(), 1u);
    set("/new", 5);
    EXPECT_EQ(m_watcher.look(), 100u);
}

TEST_F(Watchers, ACallbackMayRemoveItsOwnParameterAndOthers)
{
    const auto kept = std::make_shared<int>(0);
    m_watcher.add(parameter("/own"), [this, kept](std::uint16_t) {
        EXPECT_EQ(m_watcher.remove("/own"), 1u);
        EXPECT_EQ(m_watcher.remove("/own"), 0u);
        EXPECT_EQ(m_watcher.remove("/later"), 2u);
        ++*kept; // what the callback holds is still there
    });
    watch("/later");
    watch("/later");
    watch("/staying");
    for (const char* key : {"/own", "/later", "/staying"})
        set(key, 1);
    EXPECT_EQ(m_watcher.look(), 2u);
    EXPECT_EQ(*kept, 1);
    EXPECT_EQ(kept.use_count(), 1);
    for (const char* key : {"/own", "/later", "/staying"})
        set(key, 2);
    EXPECT_EQ(m_watcher.look(), 1u);
    EXPECT_EQ(m_told, (Told{{"/staying", 1}, {"/staying", 2}}));
}

TEST_F(Watchers, ARemovedParameterIsNotTold)
{
    watch("/a");
    watch("/b");
    EXPECT_EQ(m_watcher.remove("/a"), 1u);
    EXPECT_EQ(m_watcher.remove("/a"), 0u);
    set("/a", 1);
    set("/b", 1);
    EXPECT_EQ(m_watcher.look(), 1u);
    EXPECT_EQ(m_told, (Told{{"/b", 1}}));
}

TEST_F(Watchers, ALookInsideACallbackDoesNothing)
{
    m_watcher.add(parameter("/a"), [this](std::uint16_t) { EXPECT_EQ(m_watcher.look(), 0u); });
    watch("/b");
    set("/a", 1);
    set("/b", 1);
    EXPECT_EQ(m_watcher.look(), 2u);
    EXPECT_EQ(m_told, (Told{{"/b", 1}}));
}

TEST_F(Watchers, ACallbackThatThrowsLeavesTheOthersToTheNextLook)
{
    watch("/first");
    m_watcher.add(parameter("/bad"),
                  [](std::uint16_t) { throw std::runtime_error("from the callback"); });
    watch("/last");
    for (std::uint16_t value = 1; value <= 2; ++value) { // it throws every time, and starves nobody
        for (const char* key : {"/first", "/bad", "/last"})
            set(key, value);
        ASSERT_TRUE(isReadable(Varnix::Test::patience));
        EXPECT_THROW(m_watcher.look(), std::runtime_error);
        EXPECT_TRUE(isReadable(milliseconds(0)));
        m_watcher.look();
        EXPECT_EQ(m_watcher.look(), 0u);
        std::sort(m_told.begin(), m_told.end());
        EXPECT_EQ(std::exchange(m_told, {}), (Told{{"/first", value}, {"/last", value}}));
    }
}

TEST_F(Watchers, BadUseIsToldInASentence)
{
    for (const int interval : {0, -5}) {
        try {
            const Watcher watcher{milliseconds(interval)};
            FAIL() << interval;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(std::string(error.what()), "a watcher's interval must be above zero, not " +
                                                     std::to_string(interval) + " ms");
        }
    }
    EXPECT_THROW(m_watcher.add(parameter("/a"), nullptr), std::invalid_argument);
    EXPECT_EQ(m_watcher.remove("/a"), 0u);
}

} // namespace

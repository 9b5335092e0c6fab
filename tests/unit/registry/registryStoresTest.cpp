#include "database.h"
#include "registryTest.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>

#include <unistd.h>

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;
using testing::Test;

TEST_F(Registry, EveryInitDbMakesAStoreOfItsOwn)
{
    identities("a_1");
    const std::string config = m_node.configuration("node.cfg", {{"a", "1", {file("a.db", 1)}}});
    const Store first = registry().initDb(config);
    const Store second = registry().initDb(config);
    EXPECT_NE(first, second);
    EXPECT_TRUE(isReached(*first));
    EXPECT_TRUE(isReached(*second));
}

TEST_F(Registry, RemovedStoreIsReachedNoMore)
{
    identities("a_1");
    const Store first = component(DbBuilder().u16("/who", {1}));
    const Store second = component(DbBuilder().u16("/who", {2}));
    const Store third = component(DbBuilder().u16("/who", {3}));
    registry().removeDb(second);
    EXPECT_EQ(second.use_count(), 1);
    registry().removeDb(second);
    EXPECT_TRUE(isReached(*first));
    EXPECT_FALSE(isReached(*second));
    EXPECT_TRUE(isReached(*third));
}

/** Runs `work` until it is done or sleeps, many looks in a row. */
std::thread runUntilItSleeps(std::atomic<bool>& done, const std::function<void()>& work)
{
    std::atomic<pid_t> id{0};
    std::thread thread([&id, &done, work] {
        id = ::gettid();
        work();
        done = true;
    });
    int looks = 0;
    EXPECT_TRUE(waitUntil([&] {
        looks = id != 0 && isAsleep(id) ? looks + 1 : 0;
        return looks == 50 || done;
    }));
    return thread;
}

TEST_F(Registry, RemovalWaitsForAWriteThatIsAmongTheStores)
{
    constexpr std::size_t large = 20'000;
    identities("a_1");
    const Store first = component(DbBuilder().u16("/who", std::vector<std::int64_t>(large, 1)));
    const Store second = component(DbBuilder().u16("/who", {1}));
    std::vector<std::thread> threads;
    std::atomic<bool> read{false};
    std::atomic<bool> written{false};
    std::atomic<bool> removed{false};
    {
        // The write waits for a read of the first store, and the read for memory.
        const LargeAllocation memory(large * sizeof(std::uint16_t), CallEffect::waiting());
        threads.push_back(runUntilItSleeps(read, [&] { elements<std::uint16_t>(*first, "/who"); }));
        EXPECT_TRUE(memory.isAsked());
        threads.push_back(runUntilItSleeps(written, [] { writeNumbers("/who", {"7"}, 0); }));
        threads.push_back(runUntilItSleeps(removed, [&] { registry().removeDb(second); }));
        EXPECT_FALSE(written);
        EXPECT_FALSE(removed);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(elements<std::uint16_t>(*second, "/who"), Values{7});
}

TEST_F(Registry, RemovalDoesNotWaitForAWriteThatIsAtTheProductionStore)
{
    constexpr std::size_t large = 20'000;
    m_node.production(DbBuilder()
                          .text("/componentConfigId", "a_1")
                          .u16("/who", std::vector<std::int64_t>(large, 1)));
    const Store store = component(DbBuilder().u16("/other", {1}));
    const Store production = registry().getProdDb();
    std::vector<std::thread> threads;
    std::atomic<bool> read{false};
    std::atomic<bool> written{false};
    std::atomic<bool> removed{false};
    {
        const LargeAllocation memory(large * sizeof(std::uint16_t), CallEffect::waiting());
        threads.push_back(
            runUntilItSleeps(read, [&] { elements<std::uint16_t>(*production, "/who"); }));
        EXPECT_TRUE(memory.isAsked());
        threads.push_back(runUntilItSleeps(written, [] { writeNumbers("/who", {"7"}, 0); }));
        threads.push_back(runUntilItSleeps(removed, [&] { registry().removeDb(store); }));
        EXPECT_FALSE(written);
        EXPECT_TRUE(removed);
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(Registry, RemovingTheProductionStoreChangesNothing)
{
    m_node.production(DbBuilder().text("/componentConfigId", "a_1").u16("/who", {1}));
    const Store store = component(DbBuilder().u16("/who", {1}));
    traced();
    registry().removeDb(registry().getProdDb());
    EXPECT_EQ(traced(), Records{});
    EXPECT_TRUE(isReached(*registry().getProdDb()));
    EXPECT_TRUE(isReached(*store));
}

TEST_F(Registry, HandleBesideALaterProductionDatabaseAsksThatOneFirst)
{
    const auto production = [&](const std::string& key) {
        m_node.production(
            DbBuilder().text("/componentConfigId", "a_1").u16(key, {7}).u16("/always", {7}));
        DbRegistryImpl::freeInstance();
    };
    production("/before");
    const Store store = component(
        DbBuilder().u16("/before", {1}).u16("/after", {1}).u16("/always", {1}).u16("/never", {1}));
    const auto valueOf = [](const Varnix::V1::DatabaseIf& handle, const std::string& key) {
        Values values;
        handle.get(key, values);
        return values;
    };
    {
        const Varnix::V1::Database handle(store);
        EXPECT_EQ(valueOf(handle, "/before"), Values{7});
        EXPECT_EQ(valueOf(handle, "/after"), Values{1});
        EXPECT_EQ(valueOf(handle, "/always"), Values{7});
        EXPECT_EQ(valueOf(handle, "/never"), Values{1});
    }
    production("/after");
    const Varnix::V1::Database handle(store);
    EXPECT_EQ(valueOf(handle, "/before"), Values{1});
    EXPECT_EQ(valueOf(handle, "/after"), Values{7});
    EXPECT_EQ(valueOf(handle, "/always"), Values{7});
    EXPECT_EQ(valueOf(handle, "/never"), Values{1});
}

TEST_F(Registry, StoresOutliveTheRegistryUnreached)
{
    identities("a_1");
    const Store store = component(DbBuilder().u16("/who", {1}));
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(elements<std::uint16_t>(*store, "/who"), Values{1});
    EXPECT_FALSE(isReached(*store));
}

TEST_F(Registry, HandleHidesNothingAtItsEndButALackOfMemoryForANewRegistry)
{
    identities("a_1");
    const auto drop = [&](int error) {
        auto handle = std::make_unique<Varnix::V1::Database>(component(DbBuilder()));
        DbRegistryImpl::freeInstance();
        const LargeAllocation memory(sizeof(DbRegistryImpl), CallEffect::failing(error));
        handle.reset();
        std::_Exit(0);
    };
    EXPECT_EXIT(drop(ENOMEM), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(drop(EOVERFLOW), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(Registry, HandleTakesItsStoreOutOfTheRegistryWithoutAnyMemory)
{
    identities("a_1");
    const Store store = component(DbBuilder().u16("/who", {1}));
    auto handle = std::make_unique<Varnix::V1::Database>(store);
    EXPECT_TRUE(isReached(*store));
    {
        const LargeAllocation memory(1, CallEffect::failing(ENOMEM));
        handle.reset();
    }
    EXPECT_FALSE(isReached(*store));
    EXPECT_EQ(store.use_count(), 1);
}

TEST_F(Registry, FailedInitDbRegistersNothing)
{
    identities("a_1");
    const std::string bad = (m_node / "missing.db").string();
    const std::string good = file("good.db", 1);
    EXPECT_EQ(registry().initDb(m_node.configuration("node.cfg", {{"a", "1", {bad, good}}})),
              nullptr);
    traced();
    writeNumbers("/who", {"70000"}, 0);
    EXPECT_EQ(traced(),
              Records{"TRACE1 " + source + "updateDbs, key: /who, index: 0, values: 70000,"});
}

} // namespace

#include "dbRegistryImpl.h"
#include "inspection/notInspected.h"
#include "inspection/process.h"
#include "tests/support/countOf.h"
#include "tests/support/endChild.h"
#include "tests/support/nodeDirectory.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

// The library publishes it to tools alone, by a note.
extern "C" Varnix::Inspection::Root varnixInspectionRoot;

namespace Varnix::Test {

namespace {

using namespace Inspection;
using Backend::DatabaseImpl;
using Backend::DbRegistryImpl;
using testing::ElementsAre;
using testing::SizeIs;

/** A process that looks at itself: the test's own, which is the library's too. */
class Publications : public testing::Test
{
protected:
    Publications()
    {
        ::setenv("VARNIX_ITC_DIR", (node / "").c_str(), 1);
        node.production(DbBuilder().text("/componentConfigId", "unit_R1").u8("/own", {1, 2}));
        config = node.configuration(
            "component.cfg",
            {{"unit",
              "R1",
              {node.database("one.db",
                             DbBuilder()
                                 .u32("/numbers", std::vector<std::int64_t>(1000, 0x01010101))
                                 .text("/text", "text"))}}});
    }
    ~Publications() override { DbRegistryImpl::freeInstance(); }

    static std::vector<std::string> configsOf(const RegistryView& view)
    {
        std::vector<std::string> configs;
        for (const StoreView& store : view.stores)
            configs.push_back(store.config);
        return configs;
    }

    std::string valueOf(const std::string& key, std::size_t store)
    {
        const Process process(::getpid());
        const auto parameters = process.parameters(process.registry().stores.at(store), {{key}});
        EXPECT_TRUE(parameters && parameters->size() == 1);
        return parameters.value().at(0).value;
    }

    static NotInspected::Reason reasonOf(pid_t id)
    {
        try {
            Process(id).registry();
        } catch (const NotInspected& error) {
            return error.reason();
        }
        ADD_FAILURE() << "a registry that there is not";
        return {};
    }

    NodeDirectory node;
    std::string config;
};

TEST_F(Publications, WithoutARegistryThereIsNothingToSee)
{
    EXPECT_EQ(reasonOf(::getpid()), NotInspected::Reason::NO_REGISTRY);
    DbRegistryImpl::getInstance();
    EXPECT_THAT(configsOf(Process(::getpid()).registry()), ElementsAre(""));
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(reasonOf(::getpid()), NotInspected::Reason::NO_REGISTRY);
}

TEST_F(Publications, ShowsEachStoreWhileItIsRegistered)
{
    auto& registry = *DbRegistryImpl::getInstance();
    const auto first = registry.initDb(config);
    const auto second = registry.initDb(config);
    EXPECT_THAT(configsOf(Process(::getpid()).registry()), ElementsAre("", config, config));
    registry.removeDb(first);
    EXPECT_THAT(configsOf(Process(::getpid()).registry()), ElementsAre("", config));
    registry.removeDb(first);
    const auto third = registry.initDb(config);
    const auto view = Process(::getpid()).registry();
    EXPECT_THAT(configsOf(view), ElementsAre("", config, config));
    EXPECT_EQ(view.stores[1].parameterCount, 2U);
    registry.removeDb(second);
    registry.removeDb(third);
    EXPECT_THAT(configsOf(Process(::getpid()).registry()), ElementsAre(""));
}

TEST_F(Publications, ShowsTheBytesOfEachValueAfterEachWrite)
{
    auto& registry = *DbRegistryImpl::getInstance();
    const auto database = registry.initDb(config);
    EXPECT_EQ(valueOf("/own", 0), "\x01\x02");
    EXPECT_EQ(valueOf("/text", 1), "text");
    registry.updateDbs("/own", std::vector<std::string>{"7"}, 1);
    registry.updateDbs("/text", "longer", true);
    EXPECT_EQ(valueOf("/own", 0), "\x01\x07");
    EXPECT_EQ(valueOf("/text", 1), "text longer");
}

// A reader that sees a count again takes it that nothing changed in between.
TEST_F(Publications, CountsChangesAndNeverTakesACountBack)
{
    auto& registry = *DbRegistryImpl::getInstance();
    const auto* const production = reinterpret_cast<const Store*>(varnixInspectionRoot.firstStore);
    const std::uint64_t ofValues = production->changes;
    registry.updateDbs("/own", std::vector<std::string>{"7"}, 1);
    EXPECT_GT(production->changes, ofValues);

    const std::uint64_t beforeStore = varnixInspectionRoot.changes;
    const auto database = registry.initDb(config);
    const std::uint64_t withStore = varnixInspectionRoot.changes;
    EXPECT_GT(withStore, beforeStore);
    registry.removeDb(database);
    EXPECT_GT(varnixInspectionRoot.changes, withStore);
}

TEST_F(Publications, ShowsNoMixtureOfTwoValuesWhileTheyAreWritten)
{
    auto& registry = *DbRegistryImpl::getInstance();
    const auto database = registry.initDb(config);
    const std::jthread writer([&](const std::stop_token& stop) {
        const std::vector<std::string> ones(255, "16843009"); // the byte 1 four times
        const std::vector<std::string> twos(255, "33686018");
        for (bool odd = false; !stop.stop_requested(); odd = !odd) {
            registry.updateDbs("/numbers", odd ? ones : twos, 0);
            registry.updateDbs("/text", std::string(odd ? 2000 : 3000, odd ? 'a' : 'b'), false);
        }
    });
    for (int i = 0; i < countOf("VARNIX_LOOKS", 500); ++i) {
        const std::string numbers = valueOf("/numbers", 1).substr(0, 255 * 4);
        ASSERT_EQ(std::count(numbers.begin(), numbers.end(), numbers.front()), 255 * 4);
        const std::string text = valueOf("/text", 1);
        const std::string written(text.front() == 'a' ? 2000 : 3000, text.front());
        ASSERT_TRUE(text == "text" || text == written) << text;
    }
}

TEST_F(Publications, ShowsTheOtherStoresWhileStoresComeAndGo)
{
    auto& registry = *DbRegistryImpl::getInstance();
    const auto lasting = registry.initDb(config);
    const std::jthread client([&](const std::stop_token& stop) {
        while (!stop.stop_requested())
            registry.removeDb(registry.initDb(config));
    });
    for (int i = 0; i < countOf("VARNIX_LOOKS", 500); ++i) {
        const Process process(::getpid());
        const auto view = process.registry();
        ASSERT_GE(view.stores.size(), 2U);
        const auto kept = process.parameters(view.stores[1]);
        ASSERT_TRUE(kept);
        ASSERT_THAT(*kept, SizeIs(2));
        if (view.stores.size() == 3) { // there or gone, but never half
            const auto passing = process.parameters(view.stores[2]);
            ASSERT_TRUE(!passing || passing->at(1).value == "text");
        }
    }
}

/** Whether a child that is not root may not look at a process of root's, and is told so. */
bool isRefusedToOthers()
{
    const pid_t child = ::fork();
    if (child == 0) {
        const pid_t ofRoot = ::geteuid() == 0 ? ::getppid() : 1;
        if (::geteuid() == 0 && ::setuid(65534) != 0)
            endChild(2);
        try {
            const Process process(ofRoot);
        } catch (const NotInspected& error) {
            endChild(error.reason() == NotInspected::Reason::NOT_PERMITTED ? 0 : 3);
        }
        endChild(1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0;
}

TEST_F(Publications, IsNotForOtherUsers)
{
    DbRegistryImpl::getInstance();
    EXPECT_TRUE(isRefusedToOthers());
}

TEST_F(Publications, OfAChildThatIsForkedAtAnyMomentIsWhole)
{
    auto& registry = *DbRegistryImpl::getInstance();
    const auto lasting = registry.initDb(config);
    const std::jthread writer([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            registry.updateDbs("/text", "another", false);
            registry.removeDb(registry.initDb(config));
        }
    });
    for (int i = 0; i < countOf("VARNIX_FORKS", 100); ++i) {
        std::array<int, 2> ready{};
        ASSERT_EQ(::pipe(ready.data()), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(ready[1]); // the fork has returned
            ::pause();
            endChild(0);
        }
        ::close(ready[1]);
        char none = 0;
        EXPECT_EQ(::read(ready[0], &none, 1), 0);
        ::close(ready[0]);
        try {
            const Process process(child);
            const auto view = process.registry();
            EXPECT_EQ(view.subscription, Subscription::STOPPED);
            EXPECT_TRUE(process.parameters(view.production()));
        } catch (const NotInspected& error) {
            ADD_FAILURE() << error.what();
        }
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
}

} // namespace

} // namespace Varnix::Test

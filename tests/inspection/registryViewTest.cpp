#include "inspection/registryView.h"

#include "inspection/boundedMemory.h"
#include "inspection/notInspected.h"
#include "tests/inspection/laidOutMemory.h"

#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Varnix::Test {

namespace {

using namespace Inspection;
using testing::IsEmpty;
using testing::SizeIs;

class RegistryView : public testing::Test
{
protected:
    /** The view never settles: it ends with the reason. */
    void expectUnsettled()
    {
        registry.publish();
        try {
            viewRegistry(memory, registry.address());
            FAIL() << "a view of what does not fit together";
        } catch (const NotInspected& error) {
            EXPECT_EQ(error.reason(), NotInspected::Reason::UNSETTLED);
        }
    }

    LaidOutMemory memory;
    LaidOutRegistry registry{memory};
};

TEST_F(RegistryView, WithoutAStoreThereIsNoRegistry)
{
    EXPECT_FALSE(viewRegistry(memory, registry.address()));
}

TEST_F(RegistryView, ShowsTheStoresInTheirOrderAndTheCounters)
{
    registry.root.subscription = static_cast<std::uint32_t>(Subscription::SUBSCRIBED);
    registry.root.serverRef = 7;
    registry.root.handled = 12;
    registry.root.handledConnected = 3;
    registry.add("", {registry.parameter("/a", 2, "x")});
    registry.add("/etc/one.cfg", {});
    registry.add("/etc/two.cfg", {});

    const auto view = viewRegistry(memory, registry.address());
    ASSERT_TRUE(view);
    EXPECT_EQ(view->subscription, Subscription::SUBSCRIBED);
    EXPECT_EQ(view->serverRef, 7U);
    EXPECT_EQ(view->handled, 12U);
    EXPECT_EQ(view->handledConnected, 3U);
    ASSERT_THAT(view->stores, SizeIs(3));
    EXPECT_EQ(view->production().parameterCount, 1U);
    EXPECT_THAT(view->production().config, IsEmpty());
    EXPECT_EQ(view->stores[1].config, "/etc/one.cfg");
    EXPECT_EQ(view->stores[2].config, "/etc/two.cfg");
}

TEST_F(RegistryView, IsReadAgainWhenTheListChangesMeanwhile)
{
    registry.add("", {});
    memory.beforeRead = [&](std::size_t reads) {
        if (reads != 2) // after the counter and the root
            return;
        registry.root.changes += 2;
        registry.add("/etc/one.cfg", {});
    };
    const auto view = viewRegistry(memory, registry.address());
    ASSERT_TRUE(view);
    EXPECT_THAT(view->stores, SizeIs(2));
}

TEST_F(RegistryView, IsNotReadWhileTheListChanges)
{
    registry.add("", {});
    registry.root.changes = 1;
    registry.publish();
    memory.beforeRead = [&](std::size_t reads) {
        if (reads != 5)
            return;
        registry.root.changes = 2;
        registry.publish();
    };
    EXPECT_TRUE(viewRegistry(memory, registry.address()));
}

TEST_F(RegistryView, OfAListThatIsACircleEnds)
{
    const Address first = registry.add("", {});
    registry.stores.front().second.next = first;
    memory.replace(first, registry.stores.front().second);
    registry.root.storeCount = std::numeric_limits<std::uint64_t>::max();
    expectUnsettled();
}

TEST_F(RegistryView, OfACircleOfLongPathsTakesLittleMemory)
{
    const Address first = registry.add(std::string(65536, 'x'), {});
    registry.stores.front().second.next = first;
    memory.replace(first, registry.stores.front().second);
    registry.root.storeCount = 1000000;
    registry.publish();
    std::size_t reads = 0;
    memory.beforeRead = [&](std::size_t count) { reads = count; };
    EXPECT_THROW(viewRegistry(memory, registry.address()), NotInspected);
    EXPECT_LT(reads, 2 * BoundedMemory::most / 65536);
}

TEST_F(RegistryView, OfAStoreThatIsNotThereEnds)
{
    memory.remove(registry.add("", {}));
    expectUnsettled();
}

TEST_F(RegistryView, OfACounterThatStaysOddEnds)
{
    registry.add("", {});
    registry.root.changes = 1;
    expectUnsettled();
}

TEST_F(RegistryView, OfAPathWithoutEndEnds)
{
    const Address address = registry.add("", {});
    registry.stores.front().second.configSize = std::numeric_limits<std::uint64_t>::max();
    memory.replace(address, registry.stores.front().second);
    expectUnsettled();
}

TEST_F(RegistryView, TellsWhetherItStillHasAStore)
{
    registry.add("", {});
    registry.add("/etc/one.cfg", {});
    const auto view = viewRegistry(memory, registry.address());
    ASSERT_TRUE(view);
    EXPECT_TRUE(isRegistered(memory, registry.address(), view->stores[1]));

    auto& [address, store] = registry.stores[1];
    store.serial += 1; // another store at the same place
    memory.replace(address, store);
    EXPECT_FALSE(isRegistered(memory, registry.address(), view->stores[1]));
    EXPECT_TRUE(isRegistered(memory, registry.address(), view->stores[0]));
}

} // namespace

} // namespace Varnix::Test

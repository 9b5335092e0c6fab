#include "inspection/parameterView.h"

#include "inspection/notInspected.h"
#include "tests/inspection/laidOutMemory.h"

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Varnix::Test {

namespace {

using namespace Inspection;
using testing::SizeIs;

constexpr std::uint8_t u8 = 2;

class ParameterView : public testing::Test
{
protected:
    StoreView production()
    {
        const auto view = viewRegistry(memory, registry.address());
        EXPECT_TRUE(view);
        return view.value().production();
    }

    auto read(const std::vector<std::string>& keys = {})
    {
        return readParameters(memory, registry.address(), production(), keys);
    }

    static std::vector<std::string> keysOf(const std::string& key) { return {key}; }

    LaidOutMemory memory;
    LaidOutRegistry registry{memory};
};

TEST_F(ParameterView, ShowsTheKeysThatAreAskedFor)
{
    registry.add("", {registry.parameter("/a", u8, "1"), registry.parameter("/b", 10, "text"),
                      registry.parameter("/longer", u8, "3")});
    const auto parameters = read({"/b", "/longer", "/none"});
    ASSERT_TRUE(parameters);
    ASSERT_THAT(*parameters, SizeIs(2));
    EXPECT_EQ((*parameters)[0].key, "/b");
    EXPECT_EQ((*parameters)[0].type, 10);
    EXPECT_EQ((*parameters)[0].value, "text");
    EXPECT_EQ((*parameters)[1].key, "/longer");
}

TEST_F(ParameterView, ShowsAllOfManyWithoutKeys)
{
    std::vector<Inspection::Parameter> parameters;
    for (int i = 0; i < 1000; ++i)
        parameters.push_back(registry.parameter("/key" + std::to_string(i), u8, std::to_string(i)));
    registry.add("", parameters);
    const auto views = read();
    ASSERT_TRUE(views);
    ASSERT_THAT(*views, SizeIs(1000));
    for (std::size_t i = 0; i < 1000; ++i) {
        EXPECT_EQ((*views)[i].key, "/key" + std::to_string(i));
        EXPECT_EQ((*views)[i].value, std::to_string(i));
    }
}

TEST_F(ParameterView, OfAParameterWithoutBytesIsEmpty)
{
    Inspection::Parameter empty = registry.parameter("/a", u8, "");
    empty.value = 0;
    empty.valueSize = 4; // as after an allocation that failed
    registry.add("", {empty});
    const auto parameters = read();
    ASSERT_TRUE(parameters);
    EXPECT_EQ(parameters->at(0).value, "");
}

TEST_F(ParameterView, IsReadAgainWhenAValueChangesMeanwhile)
{
    const Inspection::Parameter parameter = registry.parameter("/a", u8, "oldold");
    const Address address = registry.add("", {parameter});
    bool isWritten = false;
    memory.beforeRead = [&](std::size_t) {
        auto& store = registry.stores.front().second;
        if (isWritten || store.changes != 0)
            return;
        // The second half of the value changes between two reads.
        isWritten = true;
        store.changes = 2;
        memory.replace(address, store);
        memory.replace(parameter.value, std::array{'n', 'e', 'w', 'n', 'e', 'w'});
    };
    const auto parameters = read();
    ASSERT_TRUE(parameters);
    EXPECT_EQ(parameters->at(0).value, "newnew");
}

TEST_F(ParameterView, IsReadAgainAtItsPlace)
{
    const Inspection::Parameter parameter = registry.parameter("/b", u8, "old");
    registry.add("", {registry.parameter("/a", u8, "1"), parameter});
    const auto places = findParameters(memory, registry.address(), production(), keysOf("/b"));
    ASSERT_TRUE(places);
    ASSERT_THAT(*places, SizeIs(1));
    memory.replace(parameter.value, std::array{'n', 'e', 'w'});
    const auto parameters =
        readParameters(memory, registry.address(), production(), places.value());
    ASSERT_TRUE(parameters);
    ASSERT_THAT(*parameters, SizeIs(1));
    EXPECT_EQ(parameters->at(0).key, "/b");
    EXPECT_EQ(parameters->at(0).value, "new");
}

TEST_F(ParameterView, AtAPlaceOfAStoreThatHasGoneIsNothing)
{
    registry.add("", {});
    registry.add("/etc/one.cfg", {registry.parameter("/a", u8, "1")});
    const StoreView store = viewRegistry(memory, registry.address()).value().stores[1];
    const auto places = findParameters(memory, registry.address(), store, keysOf("/a"));
    ASSERT_TRUE(places);
    registry.root.storeCount = 1;
    registry.publish();
    EXPECT_FALSE(findParameters(memory, registry.address(), store, keysOf("/a")));
    EXPECT_FALSE(readParameters(memory, registry.address(), store, places.value()));
}

TEST_F(ParameterView, OfAStoreThatGoesMeanwhileIsNothing)
{
    registry.add("", {registry.parameter("/a", u8, "1")});
    registry.add("/etc/one.cfg", {registry.parameter("/a", u8, "2")});
    const auto view = viewRegistry(memory, registry.address());
    const StoreView store = view.value().stores[1];
    registry.root.storeCount = 1;
    registry.publish();
    EXPECT_FALSE(readParameters(memory, registry.address(), store));
}

TEST_F(ParameterView, OfAValueThatIsNotThereEnds)
{
    const Inspection::Parameter parameter = registry.parameter("/a", u8, "1");
    registry.add("", {parameter});
    memory.remove(parameter.value);
    EXPECT_THROW(read(), NotInspected);
}

TEST_F(ParameterView, OfAStoreWhoseCounterStaysOddEnds)
{
    const Address address = registry.add("", {registry.parameter("/a", u8, "1")});
    auto& store = registry.stores.front().second;
    store.changes = 3;
    memory.replace(address, store);
    EXPECT_THROW(read(), NotInspected);
}

TEST_F(ParameterView, OfAValueOfAWrongSizeTakesNoMemoryForIt)
{
    Inspection::Parameter parameter = registry.parameter("/a", u8, "1");
    parameter.valueSize = std::numeric_limits<std::uint32_t>::max();
    registry.add("", std::vector(300, parameter));
    EXPECT_THROW(read(), NotInspected);
}

} // namespace

} // namespace Varnix::Test

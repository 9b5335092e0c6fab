#include "registryFixture.h"
#include "tests/support/allocationFailure.h"

#include <cerrno>
#include <stdexcept>

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;

using S16 = std::vector<std::int16_t>;
using U8 = std::vector<std::uint8_t>;

const std::string sites = "dbRegistryImpl.cpp: ";
const std::string storeSites = "databaseImpl.cpp: ";

class BulkUpdate : public RegistryFixture
{
protected:
    BulkUpdate()
    {
        const DbBuilder values =
            DbBuilder().text("/a", "old").s16("/n", {1, 2, 3, 4, 5}).u8("/b", {1, 2, 3});
        m_node.production(DbBuilder(values).text("/componentConfigId", "a_1"));
        m_stores = {registry().getProdDb(), component(values), component(values)};
        traced();
    }

    /** The stores hold the same; returns what they hold. */
    std::string textOfAll()
    {
        const std::string first = text(*m_stores.front(), "/a");
        for (const Store& store : m_stores)
            EXPECT_EQ(text(*store, "/a"), first);
        return first;
    }

    template <typename T>
    std::vector<T> elementsOfAll(const std::string& key)
    {
        const std::vector<T> first = elements<T>(*m_stores.front(), key);
        for (const Store& store : m_stores)
            EXPECT_EQ(elements<T>(*store, key), first);
        return first;
    }

    std::vector<Store> m_stores;
};

TEST_F(BulkUpdate, TextReachesEveryStore)
{
    registry().updateDbs("/a", "hello world", false);
    EXPECT_EQ(textOfAll(), "hello world");
    EXPECT_EQ(traced(),
              Records{"TRACE1 " + sites + "updateDbs, key: /a, append:0, value: hello world"});
}

TEST_F(BulkUpdate, AppendedTextReachesEveryStore)
{
    registry().updateDbs("/a", "new", true);
    EXPECT_EQ(textOfAll(), "old new");
    EXPECT_EQ(traced(), Records{"TRACE1 " + sites + "updateDbs, key: /a, append:1, value: new"});
}

TEST_F(BulkUpdate, BadTextReachesNoStore)
{
    registry().updateDbs("/a", "hello-world", false);
    registry().updateDbs("/a", "", true);
    EXPECT_EQ(textOfAll(), "old");
    EXPECT_EQ(traced(), (Records{"ERROR " + sites + "Invalid characters in string: hello-world",
                                 "ERROR " + sites + "No value has been given."}));
}

TEST_F(BulkUpdate, NumbersReachEveryStore)
{
    writeNumbers("/n", {"0x1F", "-12", "007"}, 2);
    EXPECT_EQ(elementsOfAll<std::int16_t>("/n"), (S16{1, 2, 31, -12, 7}));
    EXPECT_EQ(traced(),
              Records{"TRACE1 " + sites + "updateDbs, key: /n, index: 2, values: 0x1F,-12,007,"});
}

TEST_F(BulkUpdate, OneBadNumberStopsTheWholeWrite)
{
    writeNumbers("/n", {"7", "8", "12a"}, 0);
    EXPECT_EQ(elementsOfAll<std::int16_t>("/n"), (S16{1, 2, 3, 4, 5}));
    EXPECT_EQ(traced(),
              (Records{"TRACE1 " + sites + "updateDbs, key: /n, index: 0, values: 7,8,12a,",
                       "ERROR " + sites + "Invalid value: 12a"}));
}

TEST_F(BulkUpdate, EveryNumberErrorIsTraced)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "No value has been given."},
        {"12345678901", "Value too large: 12345678901"},
        {"-0x100000000", "Value too large: 0x100000000"},
        {"0x12345678G", "Value too large: 0x12345678G"},
        {"0xZZ", "Invalid value: 0xZZ"},
    };
    for (const auto& [value, message] : cases) {
        writeNumbers("/n", {value}, 0);
        EXPECT_EQ(traced(), (Records{"TRACE1 " + sites +
                                         "updateDbs, key: /n, index: 0, values: " + value + ",",
                                     "ERROR " + sites + message}));
    }
}

TEST_F(BulkUpdate, IndexIsItsLowEightBits)
{
    const Store store = component(DbBuilder().u8("/big", std::vector<std::int64_t>(300, 0)));
    writeNumbers("/big", {"9"}, 300);
    writeNumbers("/big", {"8"}, 256);
    writeNumbers("/big", {"7"}, -1);
    const U8 values = elements<std::uint8_t>(*store, "/big");
    EXPECT_EQ(values.at(44), 9);
    EXPECT_EQ(values.at(0), 8);
    EXPECT_EQ(values.at(255), 7);
    EXPECT_EQ(values.at(299), 0);
}

TEST_F(BulkUpdate, TracedIndexIsTheWholeOne)
{
    writeNumbers("/nowhere", {"1"}, -300);
    EXPECT_EQ(traced(),
              Records{"TRACE1 " + sites + "updateDbs, key: /nowhere, index: -300, values: 1,"});
}

TEST_F(BulkUpdate, RepeatWritesCopies)
{
    registry().updateDbs("/n", "5", 0, 3);
    EXPECT_EQ(elementsOfAll<std::int16_t>("/n"), (S16{5, 5, 5, 4, 5}));
    EXPECT_EQ(traced(),
              Records{"TRACE1 " + sites + "updateDbs, key: /n, index: 0, values: 5,5,5,"});
}

TEST_F(BulkUpdate, LargestRepeatIsRefusedByItsParametersSizeInLittleMemory)
{
    const LargeAllocation little(std::size_t{1} << 20U, CallEffect::failing(ENOMEM));
    registry().updateDbs("/n", "5", 0, 2147483647);
    const std::string error =
        "ERROR " + storeSites + "Can not update a key with 5 values, with  2147483647 values";
    EXPECT_EQ(traced(), (Records{error, error, error})); // a list so long finds no memory
}

TEST_F(BulkUpdate, ListThatNoTraceBufferCarriesIsNotComposed)
{
    const std::string digits(200, '7');
    registry().updateDbs("/n", digits, 0, 16777215);
    EXPECT_EQ(traced(), Records{"ERROR " + sites + "Value too large: " + digits});
}

TEST_F(BulkUpdate, RepeatChecksItsValueOnceAndBeforeTheStores)
{
    registry().updateDbs("/n", "12a", 0, 6);
    EXPECT_EQ(traced(), (Records{"TRACE1 " + sites +
                                     "updateDbs, key: /n, index: 0, values: "
                                     "12a,12a,12a,12a,12a,12a,",
                                 "ERROR " + sites + "Invalid value: 12a"}));
    EXPECT_THROW(registry().updateDbs("/n", "-", 0, 2), std::invalid_argument);
    EXPECT_EQ(elementsOfAll<std::int16_t>("/n"), (S16{1, 2, 3, 4, 5}));
}

TEST_F(BulkUpdate, NoCopiesStillCheckTheIndex)
{
    registry().updateDbs("/n", "x", 5, 0);
    EXPECT_EQ(traced(), Records{"TRACE1 " + sites + "updateDbs, key: /n, index: 5, values: "});
    registry().updateDbs("/n", "x", 6, 0);
    const std::string error = "ERROR " + storeSites + "Index out of range: 6";
    EXPECT_EQ(traced(), (Records{"TRACE1 " + sites + "updateDbs, key: /n, index: 6, values: ",
                                 error, error, error}));
}

TEST_F(BulkUpdate, NegativeCountIsTheVectorsError)
{
    EXPECT_THROW(registry().updateDbs("/n", "5", 0, -1), std::length_error);
    EXPECT_EQ(elementsOfAll<std::int16_t>("/n"), (S16{1, 2, 3, 4, 5}));
    EXPECT_EQ(traced(), Records{});
}

TEST_F(BulkUpdate, LoneMinusIsTheConversionsError)
{
    EXPECT_THROW(writeNumbers("/n", {"7", "-"}, 0), std::invalid_argument);
    EXPECT_EQ(elementsOfAll<std::int16_t>("/n"), (S16{1, 2, 3, 4, 5}));
    EXPECT_EQ(traced(), Records{"TRACE1 " + sites + "updateDbs, key: /n, index: 0, values: 7,-,"});
}

TEST_F(BulkUpdate, EachStoreChecksForItself)
{
    const Store small = component(DbBuilder().s16("/n", {1}));
    const Store text = component(DbBuilder().text("/n", "abcdefgh"));
    const Store without = component(DbBuilder().s16("/m", {1}));
    traced();
    writeNumbers("/n", {"7", "8"}, 0);
    EXPECT_EQ(elementsOfAll<std::int16_t>("/n"), (S16{7, 8, 3, 4, 5}));
    EXPECT_EQ(elements<std::int16_t>(*small, "/n"), S16{1});
    EXPECT_EQ(traced(),
              (Records{"TRACE1 " + sites + "updateDbs, key: /n, index: 0, values: 7,8,",
                       "ERROR " + storeSites + "Can not update a key with 1 values, with  2 values",
                       "ERROR " + storeSites +
                           "Can not store the value 7 in a key with datatype: CHAR"}));
}

TEST_F(BulkUpdate, ValueBeyondTheTypeIsRefusedByEveryStore)
{
    writeNumbers("/b", {"255", "256"}, 0);
    const std::string error =
        "ERROR " + storeSites + "Can not store the value 256 in a key with datatype: U8";
    EXPECT_EQ(traced(),
              (Records{"TRACE1 " + sites + "updateDbs, key: /b, index: 0, values: 255,256,", error,
                       error, error}));
    EXPECT_EQ(elementsOfAll<std::uint8_t>("/b"), (U8{1, 2, 3}));
}

TEST_F(BulkUpdate, TextForANumberIsRefusedByEveryStore)
{
    registry().updateDbs("/b", "7", false);
    const std::string error =
        "ERROR " + storeSites + "Can not update  key with datatype: U8 with the string 7";
    EXPECT_EQ(traced(), (Records{"TRACE1 " + sites + "updateDbs, key: /b, append:0, value: 7",
                                 error, error, error}));
}

TEST_F(BulkUpdate, StoresAreWrittenInOrderProductionFirst)
{
    DbRegistryImpl::freeInstance();
    m_node.production(DbBuilder().text("/componentConfigId", "a_1").u8("/k", {1}));
    const Store first = component(DbBuilder().u16("/k", {1}));
    const Store second = component(DbBuilder().u32("/k", {1}));
    traced();
    writeNumbers("/k", {"9999999999"}, 0);
    const std::string error =
        "ERROR " + storeSites + "Can not store the value 9999999999 in a key with datatype: ";
    EXPECT_EQ(traced(),
              (Records{"TRACE1 " + sites + "updateDbs, key: /k, index: 0, values: 9999999999,",
                       error + "U8", error + "U16", error + "U32"}));
}

TEST_F(BulkUpdate, KeyWithoutSlashIsPassedOnAndIgnored)
{
    writeNumbers("n", {"1"}, 0);
    registry().updateDbs("", "x", false);
    EXPECT_EQ(traced(), (Records{"TRACE1 " + sites + "updateDbs, key: n, index: 0, values: 1,",
                                 "TRACE1 " + sites + "updateDbs, key: , append:0, value: x"}));
}

} // namespace

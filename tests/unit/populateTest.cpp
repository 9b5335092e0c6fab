#include "storeTest.h"
#include "tests/support/allocationFailure.h"

namespace Varnix::Backend {
namespace {

using Test::Allocation;
using Test::AllocationCount;
using Test::AllocationFailure;
using Words = std::vector<std::string>;

constexpr auto absent = ResultCode::NOT_FOUND;
constexpr auto wrong = ResultCode::WRONG_TYPE;

const std::vector<ResultCode> allWrong(8, wrong);
const std::vector<ResultCode> allAbsent(8, absent);

class Populate : public StoreTest
{
};

TEST_F(Populate, ReportsNothingForAGoodFile)
{
    listen();
    EXPECT_TRUE(populate(DbBuilder().u8("/a", {1}).u8("/b", {})));
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(Populate, AcceptsAFileWithoutRecords)
{
    EXPECT_TRUE(populate(DbBuilder()));
    EXPECT_EQ(everyResultOf("/a"), allAbsent);
}

TEST_F(Populate, CopiesTheValues)
{
    {
        DbContainer container;
        load(container, DbBuilder().text("/text", "kept"));
        EXPECT_TRUE(store.populate(container));
    }
    EXPECT_EQ(text("/text"), "kept");
}

TEST_F(Populate, TakesTheLastRecordOfAKey)
{
    populate(DbBuilder().u8("/a", {1, 2}).u8("/other", {5}).u8("/a", {3}));
    EXPECT_EQ(numbers<unsigned char>("/a"), std::vector<unsigned char>{3});
}

TEST_F(Populate, OfTheSameStoreOverwritesKeyByKey)
{
    populate(DbBuilder().u8("/a", {1}).u8("/b", {2}));
    populate(DbBuilder().text("/b", "text").u8("/c", {3}));
    EXPECT_EQ(numbers<unsigned char>("/a"), std::vector<unsigned char>{1});
    EXPECT_EQ(text("/b"), "text");
    EXPECT_EQ(numbers<unsigned char>("/c"), std::vector<unsigned char>{3});
}

TEST_F(Populate, LeavesANewKeyOfLengthZeroWithoutType)
{
    EXPECT_TRUE(populate(DbBuilder().u8("/u8", {}).text("/text", "")));
    EXPECT_EQ(everyResultOf("/u8"), allWrong);
    EXPECT_EQ(everyResultOf("/text"), allWrong);
}

TEST_F(Populate, EmptiesAKnownKeyAndKeepsItsType)
{
    populate(DbBuilder().text("/text", "old").u16("/u16", {1}));
    populate(DbBuilder().text("/text", "").u32("/u16", {}));
    EXPECT_EQ(text("/text"), "");
    EXPECT_EQ(words("/text"), Words());
    EXPECT_EQ(numbers<unsigned short>("/u16"), std::vector<unsigned short>());
    EXPECT_EQ(resultOf<std::vector<unsigned int>>("/u16"), wrong);
}

TEST_F(Populate, ChangesNothingOfAnEmptyKeyByAnotherEmptyRecord)
{
    populate(DbBuilder().text("/text", "old").text("/text", "").u8("/text", {}));
    EXPECT_EQ(text("/text"), "");
}

TEST_F(Populate, FillsAKeyThatWasEmpty)
{
    populate(DbBuilder().u8("/a", {}).text("/a", "now"));
    EXPECT_EQ(text("/a"), "now");
}

TEST_F(Populate, SkipsAndReportsUndefinedRecordsAndGoesOn)
{
    listen();
    EXPECT_TRUE(populate(DbBuilder()
                             .u8("/before", {1})
                             .record({.key = "abc", .type = 2, .data = "x"})
                             .record({.key = "/undefined", .type = 0, .data = "yy"})
                             .record({.key = "", .type = 2, .data = "z"})
                             .u8("/after", {2})));
    EXPECT_THAT(heard(),
                ElementsAre(storeInfo("ABN: Type of data is undefined for key: ", "abc"),
                            storeInfo("ABN: Type of data is undefined for key: ", "/undefined"),
                            storeInfo("ABN: Type of data is undefined for key: ", "")));
    EXPECT_EQ(numbers<unsigned char>("/before"), std::vector<unsigned char>{1});
    EXPECT_EQ(numbers<unsigned char>("/after"), std::vector<unsigned char>{2});
    for (const char* const skipped : {"abc", "/abc", "/undefined", ""})
        EXPECT_EQ(everyResultOf(skipped), allAbsent) << skipped;
}

TEST_F(Populate, LeavesAKnownKeyAloneWhenARecordOfItIsUndefined)
{
    populate(DbBuilder().u8("/a", {1}).record({.key = "/a", .type = 0, .data = "x"}));
    EXPECT_EQ(numbers<unsigned char>("/a"), std::vector<unsigned char>{1});
}

TEST_F(Populate, ReportsTheStartOfALongKeyWithoutSlashAndTheWholeOfOneWithIt)
{
    const std::string longKey(300, 'k');
    listen();
    populate(DbBuilder()
                 .record({.key = longKey, .type = 2, .data = "x"})
                 .record({.key = "/" + longKey, .type = 0, .data = "x"}));
    EXPECT_THAT(
        heard(),
        ElementsAre(storeInfo("ABN: Type of data is undefined for key: ", std::string(128, 'k')),
                    storeInfo("ABN: Type of data is undefined for key: ", "/" + longKey)));
}

TEST_F(Populate, KeepsKeysOfAnyLengthAndBytes)
{
    const std::string longKey = "/" + std::string(70000, 'k');
    populate(DbBuilder().u8(longKey, {1}).u8("/\x01\xFF\n", {2}).u8("/", {3}));
    EXPECT_EQ(numbers<unsigned char>(longKey), std::vector<unsigned char>{1});
    EXPECT_EQ(numbers<unsigned char>("/\x01\xFF\n"), std::vector<unsigned char>{2});
    EXPECT_EQ(numbers<unsigned char>("/"), std::vector<unsigned char>{3});
}

TEST_F(Populate, KeepsTenThousandKeysApart)
{
    DbBuilder file;
    for (int i = 0; i < 10000; ++i)
        file.s32("/key/" + std::to_string(i), {i});
    populate(file);
    for (int i = 0; i < 10000; ++i)
        ASSERT_EQ(numbers<int>("/key/" + std::to_string(i)), std::vector<int>{i});
}

TEST_F(Populate, MakesRoomForAFilesKeysAtOnce)
{
    DbBuilder file;
    for (int i = 0; i < 4096; ++i)
        file.u8("/" + std::to_string(i), {});
    DbContainer container;
    load(container, file);
    const AllocationCount allocations(Allocation::THROWING);
    EXPECT_TRUE(store.populate(container));
    // Two arrays, and the keys' texts in blocks of growing size. Either array alone would be moved
    // twelve times on its way if it grew key by key.
    EXPECT_LT(allocations.asked(), 18U);
}

TEST_F(Populate, StopsAtAFailedAllocationAndKeepsWhatWasDone)
{
    const DbBuilder file = DbBuilder().u8("/a", {1}).u8("/b", {2}).u8("/c", {3});
    DbContainer container;
    load(container, file);
    listen();
    {
        const AllocationFailure failure(Allocation::NON_THROWING, 1);
        EXPECT_FALSE(store.populate(container));
        EXPECT_EQ(failure.asked(), 2U);
    }
    EXPECT_THAT(heard(), ElementsAre(storeError("Failed to allocate memory for parsed value")));
    EXPECT_EQ(numbers<unsigned char>("/a"), std::vector<unsigned char>{1});
    EXPECT_EQ(everyResultOf("/b"), allWrong); // a new entry is undefined
    EXPECT_EQ(everyResultOf("/c"), allAbsent);
}

TEST_F(Populate, KeepsTheTypeButNoBytesOfAKeyWhoseNewValueHadNoMemory)
{
    populate(DbBuilder().text("/text", "old").u32("/u32", {1}));
    DbContainer container;
    load(container, DbBuilder().u32("/u32", {2}).text("/text", "new"));
    for (const std::size_t failing : {0U, 1U}) {
        const AllocationFailure failure(Allocation::NON_THROWING, failing, 1);
        EXPECT_FALSE(store.populate(container));
    }
    EXPECT_EQ(text("/text"), "");
    EXPECT_EQ(words("/text"), Words());
    EXPECT_EQ(numbers<unsigned int>("/u32"), std::vector<unsigned int>{2});

    EXPECT_TRUE(store.populate(container)); // the store is usable still
    EXPECT_EQ(text("/text"), "new");
}

TEST_F(Populate, DoesTheSameWithoutASessionThatRecords)
{
    EXPECT_TRUE(
        populate(DbBuilder().record({.key = "abc", .type = 2, .data = "x"}).u8("/after", {2})));
    EXPECT_EQ(everyResultOf("abc"), allAbsent);
    EXPECT_EQ(numbers<unsigned char>("/after"), std::vector<unsigned char>{2});
}

} // namespace
} // namespace Varnix::Backend

#include "storeTest.h"
#include "tests/support/allocationFailure.h"

#include <limits>

namespace Varnix::Backend {
namespace {

using Test::Allocation;
using Test::AllocationFailure;
using Bytes = std::vector<unsigned char>;

/** Why the store refuses integers. */
auto writeError(const std::string& words, const std::string& rest)
{
    return Test::reportedAt("ERROR", "databaseImpl.cpp", "WriteCheck::describe(", words + rest);
}

class IntegerWrite : public StoreTest
{
protected:
    /** A write that must change nothing; returns what was reported. */
    std::vector<TraceRecord> rejected(const std::string& key, const Values& values,
                                      unsigned char index)
    {
        listen();
        store.updateDb(key, values, index);
        return heard();
    }
};

TEST_F(IntegerWrite, StoresConsecutiveElementsFromTheIndexOn)
{
    populate(DbBuilder().u16("/u16", {10, 11, 12, 13, 14}));
    listen();
    store.updateDb("/u16", Values{1, 2}, 3);
    EXPECT_EQ(numbers<unsigned short>("/u16"), (std::vector<unsigned short>{10, 11, 12, 1, 2}));
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(IntegerWrite, StoresTheBoundsOfEveryType)
{
    populate(DbBuilder()
                 .u8("/u8", {1, 1})
                 .s8("/s8", {1, 1})
                 .u16("/u16", {1, 1})
                 .s16("/s16", {1, 1})
                 .u32("/u32", {1, 1})
                 .s32("/s32", {1, 1}));
    listen();
    store.updateDb("/u8", Values{0, 255}, 0);
    store.updateDb("/s8", Values{-128, 127}, 0);
    store.updateDb("/u16", Values{0, 65535}, 0);
    store.updateDb("/s16", Values{-32768, 32767}, 0);
    store.updateDb("/u32", Values{0, 4294967295}, 0);
    store.updateDb("/s32", Values{-2147483648, 2147483647}, 0);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(numbers<unsigned char>("/u8"), (Bytes{0, 255}));
    EXPECT_EQ(numbers<signed char>("/s8"), (std::vector<signed char>{-128, 127}));
    EXPECT_EQ(numbers<unsigned short>("/u16"), (std::vector<unsigned short>{0, 65535}));
    EXPECT_EQ(numbers<short>("/s16"), (std::vector<short>{-32768, 32767}));
    EXPECT_EQ(numbers<unsigned int>("/u32"), (std::vector<unsigned int>{0, 4294967295U}));
    EXPECT_EQ(numbers<int>("/s32"), (std::vector<int>{-2147483647 - 1, 2147483647}));
}

TEST_F(IntegerWrite, LeavesTrailingBytesOfNoElementAlone)
{
    populate(DbBuilder().record({.key = "/five", .type = 4, .data = {"\0\x01\0\x02\x7F", 5}}));
    EXPECT_THAT(rejected("/five", Values{1}, 2),
                ElementsAre(writeError("Index out of range: ", "2")));
    store.updateDb("/five", Values{7, 8}, 0);
    EXPECT_EQ(numbers<unsigned short>("/five"), (std::vector<unsigned short>{7, 8}));
}

TEST_F(IntegerWrite, BeyondTheLastElementIsReportedAndChangesNothing)
{
    populate(DbBuilder().u16("/u16", {1, 2, 3, 4, 5}));
    EXPECT_THAT(rejected("/u16", Values{8, 9}, 4),
                ElementsAre(writeError("Index out of range: ", "4")));
    EXPECT_THAT(rejected("/u16", Values{9}, 255),
                ElementsAre(writeError("Index out of range: ", "255")));
    // The index is a number and not the character with that code.
    EXPECT_THAT(rejected("/u16", Values{9}, 'A'),
                ElementsAre(writeError("Index out of range: ", "65")));
    EXPECT_EQ(numbers<unsigned short>("/u16"), (std::vector<unsigned short>{1, 2, 3, 4, 5}));
}

TEST_F(IntegerWrite, OfMoreValuesThanElementsIsReportedAndChangesNothing)
{
    populate(DbBuilder().u16("/u16", {1, 2, 3, 4, 5}));
    const Values six(6, 9);
    EXPECT_THAT(rejected("/u16", six, 0),
                ElementsAre(writeError("Can not update a key with ", "5 values, with  6 values")));
    // The count is checked before the index and before the values.
    EXPECT_THAT(rejected("/u16", Values(6, -1), 200),
                ElementsAre(writeError("Can not update a key with ", "5 values, with  6 values")));
    EXPECT_EQ(numbers<unsigned short>("/u16"), (std::vector<unsigned short>{1, 2, 3, 4, 5}));
}

TEST_F(IntegerWrite, WithAnyValueOutsideTheRangeChangesNoElement)
{
    populate(DbBuilder().u8("/u8", {5, 6, 7}));
    EXPECT_THAT(
        rejected("/u8", Values{1, 256}, 0),
        ElementsAre(writeError("Can not store the value ", "256 in a key with datatype: U8")));
    EXPECT_THAT(
        rejected("/u8", Values{1, -1, 256}, 0),
        ElementsAre(writeError("Can not store the value ", "-1 in a key with datatype: U8")));
    EXPECT_THAT(rejected("/u8", Values{std::numeric_limits<std::int64_t>::min()}, 1),
                ElementsAre(writeError("Can not store the value ",
                                       "-9223372036854775808 in a key with datatype: U8")));
    // The index is checked before the values.
    EXPECT_THAT(rejected("/u8", Values{256}, 3),
                ElementsAre(writeError("Index out of range: ", "3")));
    EXPECT_EQ(numbers<unsigned char>("/u8"), (Bytes{5, 6, 7}));
}

TEST_F(IntegerWrite, ToATextIsReportedByItsFirstValue)
{
    populate(DbBuilder().text("/text", "abc"));
    EXPECT_THAT(
        rejected("/text", Values{65}, 0),
        ElementsAre(writeError("Can not store the value ", "65 in a key with datatype: CHAR")));
    EXPECT_EQ(text("/text"), "abc");
}

TEST_F(IntegerWrite, ToATypeWithoutElementsIsReportedTwice)
{
    populate(DbBuilder().record({.key = "/nine", .type = 9, .data = "abc"}).u8("/new", {}));
    EXPECT_THAT(
        rejected("/nine", Values{1}, 0),
        ElementsAre(storeError("Data type enum (TypeOfData_t) value equals: ",
                               "\t. Hence, the size will be returned as zero."),
                    writeError("Can not update a key with datatype: ", "INVALID_VALUE(\t)")));
    EXPECT_THAT(rejected("/new", {}, 0),
                ElementsAre(storeError("Data type enum (TypeOfData_t) value equals: "),
                            writeError("Can not update a key with datatype: ", "UNDEFINED")));
}

TEST_F(IntegerWrite, OfNoValuesSucceedsUpToTheEndAndWritesNothing)
{
    populate(
        DbBuilder().u16("/u16", {1, 2}).text("/text", "ab").u8("/empty", {1}).u8("/empty", {}));
    listen();
    for (unsigned char index = 0; index <= 2; ++index) {
        store.updateDb("/u16", Values{}, index);
        store.updateDb("/text", Values{}, index);
    }
    store.updateDb("/empty", Values{}, 0);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_THAT(rejected("/u16", {}, 3), ElementsAre(writeError("Index out of range: ", "3")));
    EXPECT_THAT(rejected("/empty", {}, 1), ElementsAre(writeError("Index out of range: ", "1")));
    EXPECT_EQ(numbers<unsigned short>("/u16"), (std::vector<unsigned short>{1, 2}));
    EXPECT_EQ(text("/text"), "ab");
}

TEST_F(IntegerWrite, OfARepeatedValueIsThatOfAListOfCopies)
{
    const DbBuilder file = DbBuilder().s16("/s16", {1, 2, 3, 4}).u8("/u8", Values(300, 0));
    DatabaseImpl withList;
    populate(file);
    populate(withList, file);
    store.updateDb("/s16", -7, 3, 1);
    withList.updateDb("/s16", Values(3, -7), 1);
    EXPECT_EQ(numbers<short>("/s16"), (std::vector<short>{1, -7, -7, -7}));
    store.updateDb("/u8", 9, 10, 250);
    withList.updateDb("/u8", Values(10, 9), 250);

    std::vector<unsigned char> ofList;
    EXPECT_EQ(withList.get("/u8", ofList), ResultCode::SUCCESS);
    EXPECT_EQ(numbers<unsigned char>("/u8"), ofList);
}

TEST_F(IntegerWrite, OfARepeatedValueIsRefusedInTheSameWords)
{
    populate(DbBuilder().u8("/u8", {5, 6, 7}));
    listen();
    store.updateDb("/u8", 1, 16777215, 0);
    store.updateDb("/u8", 1, 2, 2);
    store.updateDb("/u8", 256, 3, 0);
    store.updateDb("/u8", 256, 0, 4);
    EXPECT_THAT(
        heard(),
        ElementsAre(writeError("Can not update a key with ", "3 values, with  16777215 values"),
                    writeError("Index out of range: ", "2"),
                    writeError("Can not store the value ", "256 in a key with datatype: U8"),
                    writeError("Index out of range: ", "4")));
    store.updateDb("/u8", 256, 0, 3); // no value that could be unfit
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(numbers<unsigned char>("/u8"), (Bytes{5, 6, 7}));
}

TEST_F(IntegerWrite, PastElement255GoesOnAtElement0)
{
    populate(DbBuilder().u8("/u8", Values(300, 0)).u32("/u32", Values(300, 0)));
    const Values ten{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    listen();
    store.updateDb("/u8", ten, 250);
    store.updateDb("/u32", ten, 250);
    EXPECT_THAT(heard(), IsEmpty());

    Bytes expected(300, 0);
    for (std::size_t i = 0; i < ten.size(); ++i)
        expected[(250 + i) % 256] = static_cast<unsigned char>(ten[i]);
    EXPECT_EQ(numbers<unsigned char>("/u8"), expected);
    EXPECT_EQ(numbers<unsigned int>("/u32"),
              std::vector<unsigned int>(expected.begin(), expected.end()));
}

TEST_F(IntegerWrite, ToAnAbsentKeyIsIgnoredInSilence)
{
    populate(DbBuilder().u8("/u8", {1}));
    EXPECT_THAT(rejected("/absent", Values{1}, 0), IsEmpty());
    EXPECT_EQ(resultOf<Bytes>("/absent"), ResultCode::NOT_FOUND);
}

TEST_F(IntegerWrite, DoesTheSameWithoutASessionThatRecords)
{
    populate(DbBuilder().u8("/u8", {1, 2}).text("/text", "a"));
    store.updateDb("/u8", Values{3, 256}, 0);
    store.updateDb("/u8", Values{3}, 2);
    store.updateDb("/u8", Values{3, 4, 5}, 0);
    store.updateDb("/u8", "7", false);
    store.updateDb("/text", Values{3}, 0);
    EXPECT_EQ(numbers<unsigned char>("/u8"), (Bytes{1, 2}));
    EXPECT_EQ(text("/text"), "a");
    store.updateDb("/u8", Values{3}, 1);
    EXPECT_EQ(numbers<unsigned char>("/u8"), (Bytes{1, 3}));
}

TEST_F(IntegerWrite, IsCheckedAgainstTheRecordThatIsGiven)
{
    unsigned char bytes[] = {1, 2, 3, 4};
    const DatabaseImpl::DbParam_t param{bytes, 4, TypeOfData_t::S16};
    listen();
    EXPECT_TRUE(store.checkUpdatePossible(param, {1, 2}, 0));
    EXPECT_TRUE(store.checkUpdatePossible(param, {-32768}, 1));
    EXPECT_TRUE(store.checkUpdatePossible(param, {}, 2));
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_FALSE(store.checkUpdatePossible(param, {1, 2}, 1));
    EXPECT_FALSE(store.checkUpdatePossible(param, {1, 2, 3}, 0));
    EXPECT_FALSE(store.checkUpdatePossible(param, {32768}, 0));
    EXPECT_FALSE(store.checkUpdatePossible({}, {}, 0));
    EXPECT_THAT(heard(), testing::SizeIs(5));
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4));
}

TEST_F(IntegerWrite, IsCheckedAgainstTheLengthAloneOfARecordWithoutBytes)
{
    const DatabaseImpl::DbParam_t param{nullptr, 8, TypeOfData_t::U32};
    listen();
    EXPECT_TRUE(store.checkUpdatePossible(param, {1, 2}, 0));
    EXPECT_FALSE(store.checkUpdatePossible(param, {1, 2, 3}, 0));
    EXPECT_THAT(heard(),
                ElementsAre(writeError("Can not update a key with ", "2 values, with  3 values")));
}

TEST_F(IntegerWrite, ToAnEmptiedKeyFindsNoRoom)
{
    populate(DbBuilder().u8("/u8", {1, 2}).u8("/u8", {}));
    EXPECT_THAT(rejected("/u8", Values{1}, 0),
                ElementsAre(writeError("Can not update a key with ", "0 values, with  1 values")));
}

/** A store in which memory ran out under the new values of two keys, one after the other. */
class WriteAfterAFailedLoad : public IntegerWrite
{
protected:
    WriteAfterAFailedLoad()
    {
        populate(DbBuilder().u16("/u16", {1, 2}).text("/text", "old"));
        for (const DbBuilder& file :
             {DbBuilder().u16("/u16", {3, 4, 5}), DbBuilder().text("/text", "longer")}) {
            DbContainer container;
            load(container, file);
            const AllocationFailure failure(Allocation::NON_THROWING);
            EXPECT_FALSE(store.populate(container));
        }
    }
};

TEST_F(WriteAfterAFailedLoad, OfNumbersIsCheckedAgainstTheLengthThatWas)
{
    EXPECT_THAT(rejected("/u16", Values{7, 8, 9}, 0),
                ElementsAre(writeError("Can not update a key with ", "2 values, with  3 values")));
}

TEST_F(WriteAfterAFailedLoad, OfNumbersStoresNothing)
{
    EXPECT_THAT(rejected("/u16", Values{7, 8}, 0), IsEmpty());
    EXPECT_EQ(numbers<unsigned short>("/u16"), std::vector<unsigned short>());
}

TEST_F(WriteAfterAFailedLoad, OfTextStartsFromNothing)
{
    listen();
    store.updateDb("/text", "new", false); // as long as the text that was
    EXPECT_THAT(heard(), ElementsAre(storeError("Can not update empty key")));
    EXPECT_EQ(text("/text"), "new");
}

TEST_F(WriteAfterAFailedLoad, OfNoTextLeavesItEmpty)
{
    store.updateDb("/text", "", false);
    EXPECT_EQ(text("/text"), "");
    store.updateDb("/text", "x", true);
    EXPECT_EQ(text("/text"), " x");
}

} // namespace
} // namespace Varnix::Backend

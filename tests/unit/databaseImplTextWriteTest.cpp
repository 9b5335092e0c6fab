#include "storeTest.h"
#include "tests/support/allocationFailure.h"

namespace Varnix::Backend {
namespace {

using Test::Allocation;
using Test::AllocationCount;
using Test::AllocationFailure;
using Bytes = std::vector<unsigned char>;

/** Why the store refuses a text. */
auto noTextError(const std::string& words, const std::string& rest)
{
    return Test::reportedAt("ERROR", "databaseImpl.cpp", "describeNoText(", words + rest);
}

class TextWrite : public StoreTest
{
};

TEST_F(TextWrite, ReplacesTheText)
{
    populate(DbBuilder().text("/text", "abc"));
    listen();
    store.updateDb("/text", "de", false);
    EXPECT_EQ(text("/text"), "de");
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(TextWrite, AppendsABlankAndTheValue)
{
    populate(DbBuilder().text("/text", "abc"));
    store.updateDb("/text", "de", true);
    EXPECT_EQ(text("/text"), "abc de");
    store.updateDb("/text", "", true);
    EXPECT_EQ(text("/text"), "abc de ");
}

TEST_F(TextWrite, StoresAnyBytes)
{
    populate(DbBuilder().text("/text", "abc"));
    const std::string bytes("a\0\xFF\n\"", 5);
    store.updateDb("/text", bytes, false);
    EXPECT_EQ(text("/text"), bytes);
}

TEST_F(TextWrite, OfTheSameLengthReusesTheArray)
{
    populate(DbBuilder().text("/text", "abc"));
    const AllocationCount count(Allocation::NON_THROWING);
    store.updateDb("/text", "xyz", false);
    EXPECT_EQ(text("/text"), "xyz");
    EXPECT_EQ(count.asked(), 0U);
}

TEST_F(TextWrite, OfAnotherLengthTakesOneNewArray)
{
    populate(DbBuilder().text("/text", "abc"));
    const AllocationCount count(Allocation::NON_THROWING);
    store.updateDb("/text", "xy", false);
    EXPECT_EQ(count.asked(), 1U);
    store.updateDb("/text", "", true);
    EXPECT_EQ(count.asked(), 2U);
}

TEST_F(TextWrite, ToAnEmptyTextReportsItAndIsDone)
{
    populate(DbBuilder().text("/text", "abc").text("/text", ""));
    listen();
    store.updateDb("/text", "new", false);
    EXPECT_EQ(text("/text"), "new");
    EXPECT_THAT(heard(), ElementsAre(storeError("Can not update empty key")));
}

TEST_F(TextWrite, AppendedToAnEmptyTextBeginsWithABlank)
{
    populate(DbBuilder().text("/text", "abc"));
    store.updateDb("/text", "", false);
    EXPECT_EQ(text("/text"), "");
    listen();
    store.updateDb("/text", "x", true);
    EXPECT_EQ(text("/text"), " x");
    EXPECT_THAT(heard(), ElementsAre(storeError("Can not update empty key")));
}

TEST_F(TextWrite, OfNothingToAnEmptyTextLeavesItEmpty)
{
    populate(DbBuilder().text("/text", "abc").text("/text", ""));
    store.updateDb("/text", "", false);
    EXPECT_EQ(text("/text"), "");
}

TEST_F(TextWrite, ToAnotherTypeIsReportedAndChangesNothing)
{
    populate(DbBuilder().u8("/u8", {1}).s32("/s32", {-1}));
    listen();
    store.updateDb("/u8", "7", false);
    store.updateDb("/s32", "a text", true);
    EXPECT_EQ(numbers<unsigned char>("/u8"), Bytes{1});
    EXPECT_EQ(numbers<int>("/s32"), std::vector<int>{-1});
    EXPECT_THAT(heard(), ElementsAre(noTextError("Can not update  key with datatype: ",
                                                 "U8 with the string 7"),
                                     noTextError("Can not update  key with datatype: ",
                                                 "S32 with the string a text")));
}

TEST_F(TextWrite, ToATypeWithoutNameIsReportedWithItsRawByte)
{
    populate(DbBuilder().record({.key = "/nine", .type = 9, .data = "x"}));
    listen();
    store.updateDb("/nine", "v", false);
    EXPECT_THAT(heard(), ElementsAre(noTextError("Can not update  key with datatype: ",
                                                 "INVALID_VALUE(\t) with the string v")));
}

TEST_F(TextWrite, ToAKeyThatWasAlwaysEmptyIsReportedTwice)
{
    populate(DbBuilder().text("/new", ""));
    listen();
    store.updateDb("/new", "v", false);
    EXPECT_THAT(heard(), ElementsAre(storeError("Can not update empty key"),
                                     noTextError("Can not update  key with datatype: ",
                                                 "UNDEFINED with the string v")));
    EXPECT_EQ(resultOf<std::string>("/new"), ResultCode::WRONG_TYPE);
}

TEST_F(TextWrite, ToAnAbsentKeyIsIgnoredInSilence)
{
    populate(DbBuilder().text("/text", "abc"));
    listen();
    store.updateDb("/absent", "v", false);
    store.updateDb("/absent", "v", true);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(resultOf<std::string>("/absent"), ResultCode::NOT_FOUND);
}

TEST_F(TextWrite, WithoutMemoryForTheNewTextKeepsTheOldOne)
{
    populate(DbBuilder().text("/text", "abc").text("/empty", "x").text("/empty", ""));
    {
        const AllocationFailure failure(Allocation::NON_THROWING);
        store.updateDb("/text", "longer", false);
        store.updateDb("/text", "more", true);
        store.updateDb("/empty", "v", false);
        EXPECT_EQ(failure.asked(), 3U);
    }
    EXPECT_EQ(text("/text"), "abc");
    EXPECT_EQ(text("/empty"), "");
    store.updateDb("/text", "later", false);
    EXPECT_EQ(text("/text"), "later");
}

TEST_F(TextWrite, ThatThrowsLeavesTheOldTextAndReleasesTheStore)
{
    populate(DbBuilder().text("/text", "abc"));
    const std::string value(100, 'x');
    {
        const AllocationFailure failure(Allocation::THROWING);
        EXPECT_THROW(store.updateDb("/text", value, true), std::bad_alloc);
    }
    EXPECT_EQ(text("/text"), "abc");
    store.updateDb("/text", value, false);
    EXPECT_EQ(text("/text"), value);
}

} // namespace
} // namespace Varnix::Backend

#include "dbfile/comparison.h"

#include "tests/support/dbBuilder.h"

#include <string>

#include <gmock/gmock.h>

namespace Varnix::DbFile {
namespace {

using Test::DbBuilder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

Value u8(const std::string& data)
{
    return {.type = 2, .data = data};
}

TEST(Parameters, LastRecordOfAKeyCounts)
{
    const DbBuilder builder = DbBuilder().text("/a", "x").u8("/a", {1});
    EXPECT_THAT(parameters(builder.database().records), ElementsAre(Pair("/a", u8("\x01"))));
}

TEST(Parameters, EmptyRecordEmptiesAnEarlierValueAndLeavesItsType)
{
    const DbBuilder builder = DbBuilder().u8("/a", {1}).text("/a", "");
    EXPECT_THAT(parameters(builder.database().records), ElementsAre(Pair("/a", u8(""))));
}

TEST(Parameters, RecordsWithoutSlashOrTypeAreNone)
{
    const DbBuilder builder =
        DbBuilder().u8("a", {1}).record({.key = "/b", .type = 0, .data = "x"});
    EXPECT_THAT(parameters(builder.database().records), IsEmpty());
}

TEST(Differences, OfDatabasesWithTheSameParametersAreNone)
{
    const DbBuilder first = DbBuilder().u8("/a", {1}).u8("/b", {2});
    const DbBuilder second = DbBuilder().u8("/b", {2}).reserved("abcd").u8("/a", {1}).extra("x");
    EXPECT_THAT(differences(first.database().records, second.database().records), IsEmpty());
}

TEST(Differences, AreKeysOnOneSideAndOtherTypesAndOtherValues)
{
    const DbBuilder first = DbBuilder().u8("/type", {1}).u8("/only first", {1}).u8("/value", {1});
    const DbBuilder second = DbBuilder().s8("/type", {1}).u8("/value", {2}).u8("/only second", {1});
    EXPECT_THAT(differences(first.database().records, second.database().records),
                ElementsAre(Difference{"/only first", u8("\x01"), {}},
                            Difference{"/only second", {}, u8("\x01")},
                            Difference{"/type", u8("\x01"), Value{.type = 3, .data = "\x01"}},
                            Difference{"/value", u8("\x01"), u8("\x02")}));
}

} // namespace
} // namespace Varnix::DbFile

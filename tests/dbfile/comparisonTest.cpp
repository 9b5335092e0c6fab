#include "dbfile/comparison.h"

#include "tests/support/dbBuilder.h"

#include <string>

#include <gmock/gmock.h>

namespace Varnix::DbFile {
namespace {

using Test::DbBuilder;
using testing::ElementsAre;
using testing::IsEmpty;

StoredValue stored(std::uint8_t type, const std::string& data)
{
    return {.value = {.type = type, .data = data}, .recordType = type};
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
                ElementsAre(Difference{"/only first", stored(2, "\x01"), {}},
                            Difference{"/only second", {}, stored(2, "\x01")},
                            Difference{"/type", stored(2, "\x01"), stored(3, "\x01")},
                            Difference{"/value", stored(2, "\x01"), stored(2, "\x02")}));
}

} // namespace
} // namespace Varnix::DbFile

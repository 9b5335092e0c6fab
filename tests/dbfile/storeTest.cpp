#include "dbfile/store.h"

#include "tests/support/dbBuilder.h"

#include <optional>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::DbFile {
namespace {

using Test::DbBuilder;

/** What files leave in a store for "/a". */
std::optional<StoredValue> stored(const std::vector<DbBuilder>& files)
{
    Store store;
    for (std::size_t i = 0; i < files.size(); ++i)
        store.populate(files[i].database().records, i);
    const StoredValue* const found = store.find("/a");
    return found == nullptr ? std::nullopt : std::optional(*found);
}

TEST(Store, TakesTheLastRecordOfAKey)
{
    EXPECT_EQ(stored({DbBuilder().text("/a", "x").u8("/a", {1})})->value,
              (Value{.type = 2, .data = "\x01"}));
}

TEST(Store, HoldsNoRecordWithoutSlashOrType)
{
    EXPECT_EQ(stored({DbBuilder().u8("a", {1}).record({.key = "/a", .type = 0, .data = "x"})}),
              std::nullopt);
}

TEST(Store, NamesTheFileThatGaveTheValue)
{
    EXPECT_EQ(stored({DbBuilder(), DbBuilder().u8("/a", {1}), DbBuilder().u8("/b", {2})})->file,
              1U);
}

TEST(Store, NamesTheFileThatEmptiedAValueAndKeepsItsType)
{
    EXPECT_EQ(stored({DbBuilder().u8("/a", {1}), DbBuilder().text("/a", "")}),
              (StoredValue{.value = {.type = 2}, .file = 1, .recordType = 10}));
}

TEST(Store, NamesTheFirstFileThatLeftAKeyWithoutAType)
{
    EXPECT_EQ(stored({DbBuilder(), DbBuilder().text("/a", ""), DbBuilder().u8("/a", {})}),
              (StoredValue{.value = {.type = 0}, .file = 1, .recordType = 10}));
}

} // namespace
} // namespace Varnix::DbFile

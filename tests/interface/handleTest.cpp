#include "clientFixture.h"
#include "tests/support/processState.h"

#include <varnix/version.h>

namespace {

using namespace Varnix::Test;

class Handle : public ClientFixture
{
};

using Values = std::vector<std::uint16_t>;

Values who(const DatabaseIf& db)
{
    Values values;
    db.get("/who", values);
    return values;
}

TEST_F(Handle, RegistryIsOne)
{
    EXPECT_EQ(&DbRegistryIf::getInstance(), &DbRegistryIf::getInstance());
}

TEST_F(Handle, UnusableConfigurationGivesNone)
{
    DbRegistryIf& registry = DbRegistryIf::getInstance();
    EXPECT_EQ(registry.initDb((node() / "missing.cfg").string()), nullptr);
    EXPECT_EQ(registry.initDb(""), nullptr);
    const std::string missing = (node() / "missing.db").string();
    EXPECT_EQ(registry.initDb(node().configuration("bad.cfg", {{"board", "1", {missing}}})),
              nullptr);
}

TEST_F(Handle, NoMatchingEntryGivesADatabaseWithoutParameters)
{
    const auto db = DbRegistryIf::getInstance().initDb(
        node().configuration("other.cfg", {{"other", "1", {"/missing.db"}}}));
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(who(*db), Values{});
    std::vector<std::uint8_t> values;
    EXPECT_EQ(db->get("/productionOnly", values), RetCode::OK);
}

TEST_F(Handle, TwoHandlesHaveTheirOwnDatabases)
{
    const auto first = handle(DbBuilder().u16("/who", {1}));
    const auto second = handle(DbBuilder().u16("/who", {2}));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(who(*first), Values{1});
    EXPECT_EQ(who(*second), Values{2});
}

TEST_F(Handle, SameConfigurationTwiceGivesTwoHandles)
{
    const std::string file = configuration(DbBuilder().u16("/who", {1}));
    auto first = DbRegistryIf::getInstance().initDb(file);
    const auto second = DbRegistryIf::getInstance().initDb(file);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    first.reset();
    EXPECT_EQ(who(*second), Values{1});
}

TEST_F(Handle, FileIsNotNeededOnceItIsLoaded)
{
    const std::string file = node().database("gone.db", DbBuilder().u16("/who", {1}));
    const auto db = DbRegistryIf::getInstance().initDb(
        node().configuration("gone.cfg", {{"board", "1", {file}}}));
    std::filesystem::remove(file);
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(who(*db), Values{1});
}

TEST_F(Handle, CopiesOfAHandleAreOneDatabase)
{
    auto db = handle(DbBuilder().u16("/who", {1}));
    const std::shared_ptr<const DatabaseIf> copy = db;
    db.reset();
    EXPECT_EQ(who(*copy), Values{1});
}

TEST_F(Handle, DroppedHandlesLeaveNothingBehind)
{
    constexpr std::size_t handles = 500;
    // The library's thread may still be opening what it needs; it needs less than this.
    constexpr std::size_t library = 50;
    const std::string file = configuration(DbBuilder().u16("/who", {1}));
    const std::size_t threads = threadCount();
    const std::size_t descriptors = descriptorCount();
    for (std::size_t i = 0; i < handles; ++i)
        EXPECT_NE(DbRegistryIf::getInstance().initDb(file), nullptr);
    EXPECT_LT(threadCount(), threads + library);
    EXPECT_LT(descriptorCount(), descriptors + library);
}

TEST_F(Handle, VersionIsTheOneThatWasCompiledAgainst)
{
    EXPECT_STREQ(Varnix::V1::version(), VARNIX_VERSION);
}

} // namespace

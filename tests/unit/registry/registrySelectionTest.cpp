#include "registryTest.h"

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;
using testing::Test;

TEST_F(Registry, AbsentOrOtherwiseTypedIdentitiesFail)
{
    const std::string config = m_node.configuration("node.cfg", {{"*", "*", {file("a.db", 1)}}});
    for (const DbBuilder& production :
         {DbBuilder().u16("/other", {1}), DbBuilder().u8("/componentConfigId", {'a'}),
          DbBuilder().text("/componentConfigId", "")}) {
        DbRegistryImpl::freeInstance();
        m_node.production(production);
        EXPECT_EQ(registry().initDb(config), nullptr);
        EXPECT_EQ(registryRecords(),
                  (Records{"INFO " + source + "Initializing database from config file: " + config,
                           "ERROR " + source +
                               "The value for the \"/componentConfigId\" key not successfully "
                               "extracted from the production database"}));
    }
}

TEST_F(Registry, BlankIdentitiesMatchNothing)
{
    identities("   ");
    const std::string config = m_node.configuration("node.cfg", {{"*", "*", {file("a.db", 1)}}});
    const Store store = registry().initDb(config);
    ASSERT_NE(store, nullptr);
    EXPECT_EQ(registryRecords(),
              (Records{"INFO " + source + "Initializing database from config file: " + config,
                       "INFO " + source +
                           "ABN: No matching component_id found in config file: " + config}));
    Values values;
    EXPECT_EQ(store->get("/who", values), DatabaseImpl::ResultCode::NOT_FOUND);
}

TEST_F(Registry, IdentitiesThatBecameEmptyMatchNothing)
{
    m_node.production(DbBuilder().text("/componentConfigId", "a_1").text("/componentConfigId", ""));
    const std::string config = m_node.configuration("node.cfg", {{"*", "*", {file("a.db", 1)}}});
    EXPECT_NE(registry().initDb(config), nullptr);
    EXPECT_EQ(registryRecords().back(),
              "INFO " + source + "ABN: No matching component_id found in config file: " + config);
}

TEST_F(Registry, NothingSelectedGivesAnEmptyStore)
{
    identities("a_1");
    for (const std::vector<ConfigEntry>& entries :
         {std::vector<ConfigEntry>{}, {{"a", "1", {}}}, {{"b", "1", {"/nowhere.db"}}}}) {
        const std::string config = m_node.configuration("node.cfg", entries);
        EXPECT_NE(registry().initDb(config), nullptr);
        EXPECT_EQ(registryRecords().back(),
                  "INFO " + source +
                      "ABN: No matching component_id found in config file: " + config);
    }
}

TEST_F(Registry, UnusableConfigurationFails)
{
    identities("a_1");
    const std::string missing = (m_node / "missing.cfg").string();
    EXPECT_EQ(registry().initDb(missing), nullptr);
    EXPECT_EQ(
        registryRecords(),
        (Records{"INFO " + source + "Initializing database from config file: " + missing,
                 "ERROR " + source + "Failed to load and parse configuration file: " + missing}));
}

TEST_F(Registry, FilesAreLoadedFromTheLastToTheFirst)
{
    identities("a_1");
    const std::string a = file("a.db", 1);
    const std::string b = file("b.db", 2);
    const std::string c = file("c.db", 3);
    const std::string config =
        m_node.configuration("node.cfg", {{"a", "1", {a, b}}, {"a", "*", {c, a}}});
    registry();
    traced();
    const Store store = registry().initDb(config);
    const std::string loading = "INFO " + source + config + ": Populating db from file: ";
    EXPECT_EQ(registryRecords(),
              (Records{"INFO " + source + "Initializing database from config file: " + config,
                       loading + c, loading + b, loading + a}));
    EXPECT_EQ(elements<std::uint16_t>(*store, "/who"), Values{1});
}

TEST_F(Registry, PathsAreComparedByteForByte)
{
    identities("a_1");
    const std::string path = file("a.db", 1);
    const std::string doubled = (m_node / "").string() + "/a.db";
    registry();
    registry().initDb(m_node.configuration("node.cfg", {{"a", "1", {path, doubled, path}}}));
    EXPECT_EQ(registryRecords().size(), 3U);
}

TEST_F(Registry, AFailedFileEndsTheLoading)
{
    identities("a_1");
    const std::string bad = (m_node / "missing.db").string();
    const std::string good = file("good.db", 1);
    const std::string last = file("last.db", 3);
    const std::string three = m_node.configuration("three.cfg", {{"a", "1", {good, bad, last}}});
    registry();
    traced();
    EXPECT_EQ(registry().initDb(three), nullptr);
    const std::string loading = "INFO " + source + three + ": Populating db from file: ";
    EXPECT_EQ(registryRecords(),
              (Records{"INFO " + source + "Initializing database from config file: " + three,
                       loading + last, loading + bad,
                       "ERROR " + source + "Failed to load and parse file: " + bad}));
}

TEST_F(Registry, PatternsComeFromTheConfigurationAndMatchWhole)
{
    identities("unit_10 board-x_R2B");
    EXPECT_TRUE(selects("board-*", "R2*"));
    EXPECT_TRUE(selects("unit", "1?"));
    EXPECT_TRUE(selects("[a-u]nit", "10"));
    EXPECT_TRUE(selects("[!a-t]nit", "10"));
    EXPECT_TRUE(selects("un\\it", "10"));
    EXPECT_FALSE(selects("board-x_R2B*", "*"));
    EXPECT_FALSE(selects("unit", "1"));
    EXPECT_FALSE(selects("Unit", "10"));
    EXPECT_FALSE(selects("unit ", "10"));
}

TEST_F(Registry, WildcardsTakeSlashesAndLeadingDots)
{
    identities("a/b_1 .c_1");
    EXPECT_TRUE(selects("a*b", "1"));
    EXPECT_TRUE(selects("*c", "1"));
    EXPECT_TRUE(selects("a?b", "1"));
}

TEST_F(Registry, IdentitiesAreNoPatterns)
{
    identities("*_*");
    EXPECT_FALSE(selects("a", "1"));
    EXPECT_TRUE(selects("\\*", "\\*"));
}

TEST_F(Registry, MatchComponentElementAsksEveryIdentity)
{
    identities("a_1");
    EXPECT_TRUE(registry().matchComponentElement("unit_1*", {"board", "unit_10"}));
    EXPECT_FALSE(registry().matchComponentElement("unit_1", {"board", "unit_10"}));
    EXPECT_FALSE(registry().matchComponentElement("*", {}));
}

} // namespace

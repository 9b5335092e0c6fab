#include "registryTest.h"

#include "tests/support/processState.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

#include <pthread.h>

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;
using testing::Test;

TEST_F(Registry, IsOneUntilItIsFreed)
{
    identities("a_1");
    const DbRegistryImpl* const first = DbRegistryImpl::getInstance();
    EXPECT_EQ(DbRegistryImpl::getInstance(), first);
    const Store production = registry().getProdDb();
    DbRegistryImpl::freeInstance();
    DbRegistryImpl::freeInstance();
    EXPECT_NE(registry().getProdDb(), production);
}

TEST_F(Registry, ConcurrentFirstCallersShareOneConstruction)
{
    identities("a_1");
    std::vector<DbRegistryImpl*> seen(8);
    std::vector<std::thread> callers;
    for (DbRegistryImpl*& one : seen)
        callers.emplace_back([&one] { one = DbRegistryImpl::getInstance(); });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(seen, std::vector<DbRegistryImpl*>(8, DbRegistryImpl::getInstance()));
    EXPECT_EQ(threadsNamed("varnixCmd"), 1U);
}

TEST_F(Registry, RunsOneThreadNamedVarnixCmd)
{
    identities("a_1");
    EXPECT_EQ(threadsNamed("varnixCmd"), 0U);
    registry();
    EXPECT_EQ(threadsNamed("varnixCmd"), 1U);
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(threadsNamed("varnixCmd"), 0U);
    registry();
    EXPECT_EQ(threadsNamed("varnixCmd"), 1U);
}

/** While it lives, no thread can be started: there is no memory for so large a stack. */
class NoThreads
{
public:
    NoThreads()
    {
        pthread_attr_t attributes;
        pthread_getattr_default_np(&attributes);
        pthread_attr_getstacksize(&attributes, &m_before);
        pthread_attr_destroy(&attributes);
        set(std::size_t{1} << 47U);
    }
    ~NoThreads() { set(m_before); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    static void set(std::size_t stackSize)
    {
        pthread_attr_t attributes;
        pthread_getattr_default_np(&attributes);
        pthread_attr_setstacksize(&attributes, stackSize);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
    }

    std::size_t m_before = 0;
};

TEST_F(Registry, WhoseThreadCannotBeStartedReadsAllTheSame)
{
    identities("a_1");
    {
        const NoThreads noThreads;
        registry();
    }
    EXPECT_EQ(threadsNamed("varnixCmd"), 0U);
    EXPECT_EQ(winner({{"a", "1", {file("one.db", 1)}}}), Values{1});
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(m_itc.newCalls(), std::vector<std::string>{});
}

TEST_F(Registry, ReadsTheProductionDatabaseAgainWhenMadeAnew)
{
    identities("a_1");
    EXPECT_EQ(text(*registry().getProdDb(), "/componentConfigId"), "a_1");
    identities("b_2");
    EXPECT_EQ(text(*registry().getProdDb(), "/componentConfigId"), "a_1");
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(text(*registry().getProdDb(), "/componentConfigId"), "b_2");
}

TEST_F(Registry, WithoutProductionDatabaseEveryInitDbFails)
{
    const std::string config = m_node.configuration("node.cfg", {{"*", "*", {file("a.db", 1)}}});
    EXPECT_EQ(threadsNamed("varnixCmd"), 0U);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(registry().initDb(config), nullptr);
        EXPECT_EQ(registryRecords(),
                  (Records{"INFO " + source + "Initializing database from config file: " + config,
                           "ERROR " + source + "Production database has not been populated"}));
    }
    EXPECT_EQ(threadsNamed("varnixCmd"), 1U);
    ASSERT_NE(registry().getProdDb(), nullptr);
}

TEST_F(Registry, ProductionDatabaseThatReachesOutsideItsFileIsNotPopulated)
{
    identities("a_1"); // the second variable's, which is not asked
    writeFile(m_node / "outside.db", imageThatReachesOutside());
    ::setenv(firstVariable, (m_node / "outside.db").c_str(), 1);
    const std::string config = m_node.configuration("node.cfg", {{"*", "*", {file("a.db", 1)}}});
    EXPECT_EQ(registry().initDb(config), nullptr);
    EXPECT_EQ(registryRecords(),
              (Records{"INFO " + source + "Initializing database from config file: " + config,
                       "ERROR " + source + "Production database has not been populated"}));
    EXPECT_EQ(elements<unsigned char>(*registry().getProdDb(), "/a"), std::vector<unsigned char>());
}

TEST_F(Registry, AFileThatReachesOutsideItselfEndsTheLoading)
{
    identities("a_1");
    const std::string bad = (m_node / "outside.db").string();
    writeFile(bad, imageThatReachesOutside());
    const std::string config =
        m_node.configuration("node.cfg", {{"a", "1", {file("good.db", 1), bad}}});
    registry();
    traced();
    EXPECT_EQ(registry().initDb(config), nullptr);
    EXPECT_EQ(traced(),
              (Records{"INFO " + source + "Initializing database from config file: " + config,
                       "INFO " + source + config + ": Populating db from file: " + bad,
                       "ERROR " + source + "Failed to load and parse file: " + bad}));
}

TEST_F(Registry, ProductionDatabaseThatAppearsLaterIsNotAskedFor)
{
    const std::string config = m_node.configuration("node.cfg", {{"*", "*", {file("a.db", 1)}}});
    EXPECT_EQ(registry().initDb(config), nullptr);
    identities("a_1");
    EXPECT_EQ(registry().initDb(config), nullptr);
    DbRegistryImpl::freeInstance();
    EXPECT_NE(registry().initDb(config), nullptr);
}

using Deed = void (*)();

/** Done after the destruction of every static object, the registry's too. */
constinit Deed atTheVeryEnd = nullptr;

/** Ahead of the first static object's construction. */
[[gnu::constructor(101)]] void prepareTheVeryEnd()
{
    std::atexit([] {
        if (atTheVeryEnd != nullptr)
            atTheVeryEnd();
    });
}

TEST(EndOfTheProcess, RegistryThatIsMadeThenStartsNoThread)
{
    NodeDirectory::noProduction();
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            atTheVeryEnd = [] {
                DbRegistryImpl::getInstance();
                std::fprintf(stderr, "%zu threads", threadsNamed("varnixCmd"));
            };
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^0 threads$");
}

} // namespace

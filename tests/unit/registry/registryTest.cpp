#include "registryFixture.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"
#include "throwingAllocation.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>

#include <pthread.h>
#include <unistd.h>

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;
using Values = std::vector<std::uint16_t>;
using testing::Test;

const std::string source = "dbRegistryImpl.cpp: ";

class Registry : public RegistryFixture
{
protected:
    /** The registry's own records of an initDb. */
    Records registryRecords() const
    {
        Records own;
        for (const std::string& record : traced())
            if (record.find(' ' + source) != std::string::npos)
                own.push_back(record);
        return own;
    }

    std::string file(const std::string& name, std::int64_t value) const
    {
        return m_node.database(name, DbBuilder().u16("/who", {value}));
    }

    /** The value of "/who" in a store that comes from `entries`. */
    Values winner(const std::vector<ConfigEntry>& entries) const
    {
        const Store store = registry().initDb(m_node.configuration("node.cfg", entries));
        return store ? elements<std::uint16_t>(*store, "/who") : Values();
    }

    /** Whether an entry with this pattern is selected. */
    bool selects(const std::string& componentId, const std::string& revision) const
    {
        return winner({{componentId, revision, {file("one.db", 1)}}}) == Values{1};
    }

    /** Whether a write still reaches the store. */
    static bool isReached(const DatabaseImpl& store)
    {
        static std::uint16_t next = 100;
        ++next;
        writeNumbers("/who", {std::to_string(next)}, 0);
        return elements<std::uint16_t>(store, "/who") == Values{next};
    }
};

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

TEST_F(Registry, EveryInitDbMakesAStoreOfItsOwn)
{
    identities("a_1");
    const std::string config = m_node.configuration("node.cfg", {{"a", "1", {file("a.db", 1)}}});
    const Store first = registry().initDb(config);
    const Store second = registry().initDb(config);
    EXPECT_NE(first, second);
    EXPECT_TRUE(isReached(*first));
    EXPECT_TRUE(isReached(*second));
}

TEST_F(Registry, RemovedStoreIsReachedNoMore)
{
    identities("a_1");
    const Store first = component(DbBuilder().u16("/who", {1}));
    const Store second = component(DbBuilder().u16("/who", {2}));
    const Store third = component(DbBuilder().u16("/who", {3}));
    registry().removeDb(second);
    EXPECT_EQ(second.use_count(), 1);
    registry().removeDb(second);
    EXPECT_TRUE(isReached(*first));
    EXPECT_FALSE(isReached(*second));
    EXPECT_TRUE(isReached(*third));
}

/** Runs `work` until it is done or sleeps, many looks in a row. */
std::thread runUntilItSleeps(std::atomic<bool>& done, const std::function<void()>& work)
{
    std::atomic<pid_t> id{0};
    std::thread thread([&id, &done, work] {
        id = ::gettid();
        work();
        done = true;
    });
    int looks = 0;
    EXPECT_TRUE(waitUntil([&] {
        looks = id != 0 && isAsleep(id) ? looks + 1 : 0;
        return looks == 50 || done;
    }));
    return thread;
}

TEST_F(Registry, RemovalWaitsForAWriteThatIsAmongTheStores)
{
    constexpr std::size_t large = 20'000;
    identities("a_1");
    const Store first = component(DbBuilder().u16("/who", std::vector<std::int64_t>(large, 1)));
    const Store second = component(DbBuilder().u16("/who", {1}));
    std::vector<std::thread> threads;
    std::atomic<bool> read{false};
    std::atomic<bool> written{false};
    std::atomic<bool> removed{false};
    {
        // The write waits for a read of the first store, and the read for memory.
        const HeldAllocation memory(large * sizeof(std::uint16_t));
        threads.push_back(runUntilItSleeps(read, [&] { elements<std::uint16_t>(*first, "/who"); }));
        EXPECT_TRUE(memory.isAsked());
        threads.push_back(runUntilItSleeps(written, [] { writeNumbers("/who", {"7"}, 0); }));
        threads.push_back(runUntilItSleeps(removed, [&] { registry().removeDb(second); }));
        EXPECT_FALSE(written);
        EXPECT_FALSE(removed);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(elements<std::uint16_t>(*second, "/who"), Values{7});
}

TEST_F(Registry, RemovingTheProductionStoreChangesNothing)
{
    m_node.production(DbBuilder().text("/componentConfigId", "a_1").u16("/who", {1}));
    const Store store = component(DbBuilder().u16("/who", {1}));
    traced();
    registry().removeDb(registry().getProdDb());
    EXPECT_EQ(traced(), Records{});
    EXPECT_TRUE(isReached(*registry().getProdDb()));
    EXPECT_TRUE(isReached(*store));
}

TEST_F(Registry, StoresOutliveTheRegistryUnreached)
{
    identities("a_1");
    const Store store = component(DbBuilder().u16("/who", {1}));
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(elements<std::uint16_t>(*store, "/who"), Values{1});
    EXPECT_FALSE(isReached(*store));
}

TEST_F(Registry, FailedInitDbRegistersNothing)
{
    identities("a_1");
    const std::string bad = (m_node / "missing.db").string();
    const std::string good = file("good.db", 1);
    EXPECT_EQ(registry().initDb(m_node.configuration("node.cfg", {{"a", "1", {bad, good}}})),
              nullptr);
    traced();
    writeNumbers("/who", {"70000"}, 0);
    EXPECT_EQ(traced(),
              Records{"TRACE1 " + source + "updateDbs, key: /who, index: 0, values: 70000,"});
}

using Deed = void (*)();

/** Done behind the destruction of every static object, the registry's too. */
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

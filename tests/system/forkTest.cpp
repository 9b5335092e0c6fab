#include "dbRegistryImpl.h"
#include "fileDescriptor.h"
#include "readMostlyLock.h"
#include "signalsBlocked.h"
#include "tests/support/countOf.h"
#include "tests/support/endChild.h"
#include "tests/support/nodeDirectory.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;

using Store = std::shared_ptr<DatabaseImpl>;

constexpr std::size_t elements = 256;

/** The texts that are written in turn: from one to the next the length stays, or changes. */
const std::array<std::string, 3> texts = {std::string(20'000, 'a'), std::string(20'000, 'b'),
                                          std::string(15'000, 'c')};

DbBuilder parameters(const std::string& root)
{
    return DbBuilder()
        .text("/componentConfigId", "board_1")
        .text(root + "/text", texts[0])
        .u32(root + "/numbers", std::vector<std::int64_t>(elements, 0));
}

/** What a thread reads; it has room for every value, so that reading allocates nothing. */
class Reader
{
public:
    Reader()
    {
        m_text.reserve(texts[0].size());
        m_numbers.reserve(elements);
    }

    /** Whether the store's values are values that were written, and no mixtures. */
    bool readsWhole(const DatabaseImpl& store, const std::string& textKey,
                    const std::string& numbersKey)
    {
        return store.get(textKey, m_text) == DatabaseImpl::ResultCode::SUCCESS &&
               std::find(texts.begin(), texts.end(), m_text) != texts.end() &&
               store.get(numbersKey, m_numbers) == DatabaseImpl::ResultCode::SUCCESS &&
               m_numbers.size() == elements &&
               std::adjacent_find(m_numbers.begin(), m_numbers.end(), std::not_equal_to<>()) ==
                   m_numbers.end();
    }

private:
    std::string m_text;
    std::vector<std::uint32_t> m_numbers;
};

/** Does `work` over and over on a thread of its own, which handles no signal. */
class Repeated
{
public:
    template <typename Work>
    explicit Repeated(Work work)
    {
        const SignalsBlocked inherited;
        m_thread = std::thread([this, work] {
            for (int round = 0; !m_done; ++round)
                work(round);
        });
    }
    ~Repeated()
    {
        m_done = true;
        m_thread.join();
    }
    Repeated(const Repeated&) = delete;
    Repeated& operator=(const Repeated&) = delete;

private:
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

/** What the signal handler does. */
std::function<void()> onSignal;

/** A node whose parameters are written without a pause. */
class Fork : public testing::Test
{
protected:
    Fork()
    {
        m_node.production(parameters("/node"));
        ::setenv("VARNIX_ITC_DIR", (m_node / "itc").c_str(), 1);
        m_configuration = m_node.configuration(
            "node.cfg", {{"board", "1", {m_node.database("unit.db", parameters("/unit"))}}});
        m_store = registry().initDb(m_configuration);
        m_production = registry().getProdDb();
        ::alarm(static_cast<unsigned>(2 * patience.count())); // whatever hangs ends the test
    }
    ~Fork() override
    {
        ::alarm(0);
        m_store.reset();
        DbRegistryImpl::freeInstance();
    }

    static DbRegistryImpl& registry() { return *DbRegistryImpl::getInstance(); }

    static void write(int round)
    {
        for (const std::string root : {"/node", "/unit"}) {
            registry().updateDbs(root + "/text", texts[static_cast<std::size_t>(round) % 3], false);
            registry().updateDbs(root + "/numbers", std::to_string(round), 0, elements);
        }
    }

    bool everyValueIsWhole()
    {
        return m_reader.readsWhole(*m_production, m_nodeText, m_nodeNumbers) &&
               m_reader.readsWhole(*m_store, m_unitText, m_unitNumbers);
    }

    /** Forks a child that reads everything twice and drops its database. */
    void forkOnce()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const bool whole = everyValueIsWhole() && everyValueIsWhole();
            registry().removeDb(m_store);
            endChild(whole ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        m_failures += status == 0 ? 0 : 1;
        ++m_forks;
    }

    NodeDirectory m_node;
    std::string m_configuration;
    Store m_store;
    Store m_production;
    const std::string m_nodeText = "/node/text";
    const std::string m_nodeNumbers = "/node/numbers";
    const std::string m_unitText = "/unit/text";
    const std::string m_unitNumbers = "/unit/numbers";
    Reader m_reader;
    std::atomic<int> m_failures{0};
    std::atomic<int> m_forks{0};
    const int m_enough = countOf("VARNIX_TEST_FORKS", 1000);
};

TEST_F(Fork, ChildFindsEveryValueWholeAtAnyMomentOfAWrite)
{
    const Repeated writer(write);
    const Repeated client([this](int) { registry().removeDb(registry().initDb(m_configuration)); });
    while (m_forks < m_enough && m_failures == 0)
        forkOnce();
    EXPECT_EQ(m_failures, 0);
}

TEST_F(Fork, InAHandlerThatInterruptedAReadWaitsForNothing)
{
    struct sigaction action = {};
    onSignal = [this] { forkOnce(); };
    action.sa_handler = [](int) { onSignal(); };
    struct sigaction before = {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    {
        const Repeated writer(write);
        const Repeated interrupter([this, reader = ::pthread_self()](int) {
            const int forks = m_forks;
            ::pthread_kill(reader, SIGUSR1);
            waitUntil([&] { return m_forks != forks; });
        });
        Reader reader; // not the one that the handler uses
        while (m_forks < m_enough && m_failures == 0)
            EXPECT_TRUE(reader.readsWhole(*m_store, m_unitText, m_unitNumbers));
    }
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(m_failures, 0);
}

/** What fork() returned in the last handler; -1 before. */
std::atomic<pid_t> forked{-1};

/** Has a handler fork on a thread that sleeps in `wait`; returns how the child ended, which goes
 * on. */
template <typename Wait>
int forkWhileAsleepIn(const Wait& wait, const std::function<void()>& atLast)
{
    forked = -1;
    struct sigaction action = {};
    action.sa_handler = [](int) {
        forked = ::fork();
        if (forked == 0)
            ::unsetenv("sys_uflash_prod_db_dev"); // what is loaded anew is loaded without it
    };
    struct sigaction before = {};
    ::sigaction(SIGUSR1, &action, &before);
    std::atomic<pid_t> id{0};
    std::thread thread([&] {
        id = ::gettid();
        wait();
        if (forked == 0)
            endChild(0);
    });
    int looks = 0;
    EXPECT_TRUE(waitUntil([&] {
        looks = id != 0 && isAsleep(id) ? looks + 1 : 0;
        return looks == 50;
    }));
    ::pthread_kill(thread.native_handle(), SIGUSR1);
    EXPECT_TRUE(waitUntil([] { return forked > 0; }));
    int status = -1;
    EXPECT_TRUE(waitUntil([&] { return ::waitpid(forked, &status, WNOHANG) == forked; }));
    if (status == -1) {
        ::kill(forked, SIGKILL);
        ::waitpid(forked, nullptr, 0);
    }
    atLast();
    thread.join();
    ::sigaction(SIGUSR1, &before, nullptr);
    return status;
}

TEST(ForkInAHandler, LetsTheChildGoOnWhereItsReaderSlept)
{
    ReadMostlyLock lock;
    lock.lock();
    const int status =
        forkWhileAsleepIn([&] { const std::shared_lock reading(lock); }, [&] { lock.unlock(); });
    EXPECT_EQ(status, 0);
}

TEST(ForkInAHandler, LetsTheChildGoOnWhereItWaitedForTheRegistry)
{
    const TemporaryDirectory directory;
    const std::string production = directory / "production.db";
    ASSERT_EQ(::mkfifo(production.c_str(), 0600), 0);
    ::setenv("sys_uflash_prod_db_dev", production.c_str(), 1);
    ::setenv("VARNIX_ITC_DIR", (directory / "itc").c_str(), 1);
    std::thread first([] { DbRegistryImpl::getInstance(); });
    const FileDescriptor writing(::open(production.c_str(), O_WRONLY)); // it is at its file now
    const int status = forkWhileAsleepIn([] { DbRegistryImpl::getInstance(); },
                                         [&] { EXPECT_EQ(::write(writing.get(), "none", 4), 4); });
    first.join();
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(status, 0);
}

} // namespace

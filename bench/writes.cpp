#include "bench/inner.h"
#include "bench/report.h"
#include "database.h"
#include "dbRegistryImpl.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace Varnix::Bench {

namespace {

using Backend::DatabaseImpl;
using Clock = std::chrono::steady_clock;

constexpr Value u32x4{"U32x4", 6, 16};
constexpr std::size_t keyCount = 1000;
constexpr int fewReaders = 2;
constexpr int manyReaders = 64;
constexpr auto duration = std::chrono::seconds(2);

const std::vector<std::int64_t> newValues{1, 2, 3, 4};

std::shared_ptr<DatabaseImpl> open(const Node& node, const std::string& name)
{
    const std::string file = node.writeDatabase(name + ".db", {u32x4, keyCount});
    auto db =
        Backend::DbRegistryImpl::getInstance()->initDb(node.writeConfig(name + ".cfg", {file}));
    if (!db)
        throw std::runtime_error("no database " + name);
    return db;
}

void measureInPlace(benchmark::State& state, const std::shared_ptr<DatabaseImpl>& db)
{
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < keyCount; ++i)
        keys.push_back(keyOf(i));
    std::size_t i = 0;
    for (auto _ : state) {
        db->updateDb(keys[i], newValues, 0);
        i = (i + 1) % keyCount;
    }
}

/** What the lock has in a write. */
void measureLock(benchmark::State& state)
{
    Backend::ReadMostlyLock lock;
    for (auto _ : state) {
        const std::unique_lock held(lock);
        benchmark::ClobberMemory();
    }
}

/** Threads that read all keys again and again, until they are told to end. */
class Readers
{
public:
    Readers(const std::shared_ptr<DatabaseImpl>& db, int count)
    {
        for (int i = 0; i < count; ++i)
            m_threads.emplace_back([this, db] { spin(db); });
    }
    ~Readers() { end(); }
    Readers(const Readers&) = delete;
    Readers& operator=(const Readers&) = delete;

    /** Ends them and returns how many reads there were. */
    std::size_t end()
    {
        m_ended = true;
        for (std::thread& thread : m_threads)
            thread.join();
        m_threads.clear();
        return m_reads;
    }

private:
    void spin(const std::shared_ptr<DatabaseImpl>& db)
    {
        const V1::Database handle(db);
        const V1::DatabaseIf& database = handle;
        std::vector<std::string> keys;
        for (std::size_t i = 0; i < keyCount; ++i)
            keys.push_back(keyOf(i));
        std::vector<std::uint32_t> values;
        std::size_t reads = 0;
        while (!m_ended) {
            for (const std::string& key : keys)
                database.get(key, values);
            reads += keyCount;
        }
        m_reads += reads;
    }

    std::atomic<bool> m_ended{false};
    std::atomic<std::size_t> m_reads{0};
    std::vector<std::thread> m_threads;
};

/** Writes at a steady rate; how long each write took. */
std::vector<std::int64_t> write(DatabaseImpl& db, int rate)
{
    std::vector<std::int64_t> waits;
    const auto period = std::chrono::nanoseconds(std::chrono::seconds(1)) / rate;
    const auto end = Clock::now() + duration;
    for (auto next = Clock::now(); next < end; next += period) {
        std::this_thread::sleep_until(next);
        const auto start = Clock::now();
        db.updateDb(keyOf(waits.size() % keyCount), newValues, 0);
        waits.push_back(std::chrono::nanoseconds(Clock::now() - start).count());
    }
    return waits;
}

void measureWaits(benchmark::State& state, const std::shared_ptr<DatabaseImpl>& read,
                  const std::shared_ptr<DatabaseImpl>& written, int readerCount, int rate)
{
    for (auto _ : state) {
        Readers readers(read, readerCount);
        const auto start = Clock::now();
        std::vector<std::int64_t> waits;
        if (rate != 0)
            waits = write(*written, rate);
        else
            std::this_thread::sleep_for(duration);
        const std::chrono::duration<double> took = Clock::now() - start;
        state.counters["reads_per_second"] = static_cast<double>(readers.end()) / took.count();
        if (rate != 0)
            reportDistribution(state, waits);
    }
}

} // namespace

void addInPlaceWrites(const Node& node)
{
    benchmark::RegisterBenchmark("write/in-place", measureInPlace, open(node, "in-place"));
    benchmark::RegisterBenchmark("write/lock", measureLock);
}

void addWriterWaits(const Node& node)
{
    const auto busy = open(node, "busy");
    const auto idle = open(node, "idle");
    const auto add = [&](const std::string& name, const auto& written, int readers, int rate) {
        benchmark::RegisterBenchmark(("wait/" + name + '/' + std::to_string(rate)).c_str(),
                                     measureWaits, busy, written, readers, rate)
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    };
    add("same-store", busy, fewReaders, 0);
    for (const int rate : {100, 10000}) {
        add("same-store", busy, fewReaders, rate);
        add("other-store", idle, fewReaders, rate); // what the scheduler alone does to the writer
    }
    add("beside-64", busy, manyReaders, 100);
    add("other-store-beside-64", idle, manyReaders, 100);
}

} // namespace Varnix::Bench

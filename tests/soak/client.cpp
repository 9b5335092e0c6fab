/*
 * A client of the soak: follows its parameters through one handle that it keeps, while threads
 * initialise, read and drop others without end.
 *
 *     soak_client CONFIG TURNS_PER_SECOND
 *
 * Commands on standard input:
 *     settle NUMBER    stop the threads, drop their handles, wait until the kept handle holds
 * NUMBER as /soak/sequence, and print every value, then a line "settled" resume           start the
 * threads again, print "resumed" The end of the input ends it: status 0, or 1 when a read ever gave
 * what no write could have left.
 *
 * Every write of the soak gives all elements of a parameter the same value, and all letters of a
 * word, so that a value of two writes shows.
 */
#include "tests/support/waitUntil.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <varnix/dbRegistryIf.h>

namespace {

using Varnix::V1::DatabaseIf;
using Varnix::V1::DbRegistryIf;
using Handle = std::shared_ptr<DatabaseIf>;

constexpr std::size_t elements = 4;
constexpr std::size_t handles = 8;
constexpr int threads = 2;

std::atomic<bool> wrong{false};

void complain(const std::string& text)
{
    if (!wrong.exchange(true))
        std::cerr << "soak_client: " + text + '\n';
}

template <typename Integer>
std::string checked(const std::string& key, const std::vector<Integer>& values)
{
    std::string text;
    for (const Integer value : values)
        text += (text.empty() ? "" : " ") + std::to_string(value);
    const bool uniform =
        std::ranges::all_of(values, [&](Integer value) { return value == values.front(); });
    if (!uniform || (values.size() != elements && key != "/soak/sequence"))
        complain(key + " holds a mixture: " + text);
    return text;
}

std::string checked(const std::string& key, const std::string& text)
{
    std::istringstream words(text);
    std::string word;
    while (words >> word)
        if (word.find_first_not_of(word.front()) != std::string::npos)
            complain(key + " holds a mixture: " + text);
    return text;
}

template <typename Value>
std::string read(const DatabaseIf& database, const std::string& key)
{
    Value value;
    const DatabaseIf::RetCode result = database.get(key, value);
    if (result != DatabaseIf::RetCode::OK) {
        complain(key + " gives result " + std::to_string(static_cast<int>(result)));
        return {};
    }
    return checked(key, value);
}

struct Parameter
{
    const char* key;
    std::string (*read)(const DatabaseIf&, const std::string&);
};

constexpr std::array<Parameter, 9> parameters{{
    {"/soak/u8", read<std::vector<std::uint8_t>>},
    {"/soak/s8", read<std::vector<std::int8_t>>},
    {"/soak/u16", read<std::vector<std::uint16_t>>},
    {"/soak/s16", read<std::vector<std::int16_t>>},
    {"/soak/u32", read<std::vector<std::uint32_t>>},
    {"/soak/s32", read<std::vector<std::int32_t>>},
    {"/soak/text", read<std::string>},
    {"/production/u16", read<std::vector<std::uint16_t>>},
    {"/production/text", read<std::string>},
}};

std::optional<std::uint32_t> sequenceOf(const DatabaseIf& database)
{
    std::vector<std::uint32_t> value;
    if (database.get("/soak/sequence", value) != DatabaseIf::RetCode::OK || value.size() != 1)
        return std::nullopt;
    return value.front();
}

/** The threads that initialise, read and drop handles. */
class Churn
{
public:
    Churn(std::string config, unsigned turnsPerSecond)
        : m_config(std::move(config)),
          m_pause(std::chrono::nanoseconds(std::chrono::seconds(1)) * threads / turnsPerSecond)
    {
    }
    ~Churn() { stop(); }
    Churn(const Churn&) = delete;
    Churn& operator=(const Churn&) = delete;

    void start()
    {
        m_stopped = false;
        for (int i = 0; i < threads; ++i)
            m_threads.emplace_back([this] { work(); });
    }

    void stop()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_stopped = true;
        }
        m_stop.notify_all();
        m_threads.clear();
    }

private:
    void work()
    {
        std::minstd_rand random{std::random_device{}()};
        std::array<Handle, handles> kept;
        std::unique_lock lock(m_mutex);
        while (!m_stop.wait_for(lock, m_pause, [this] { return m_stopped; })) {
            lock.unlock();
            turn(kept[random() % handles]);
            if (const Handle& old = kept[random() % handles])
                readAll(*old);
            lock.lock();
        }
    }

    void turn(Handle& handle) const
    {
        handle = DbRegistryIf::getInstance().initDb(m_config);
        if (handle)
            readAll(*handle);
        else
            complain("initDb gives no database");
    }

    static void readAll(const DatabaseIf& database)
    {
        for (const Parameter& parameter : parameters)
            parameter.read(database, parameter.key);
    }

    const std::string m_config;
    const std::chrono::nanoseconds m_pause;
    std::mutex m_mutex;
    std::condition_variable m_stop;
    bool m_stopped = false;
    std::vector<std::jthread> m_threads;
};

void settle(const DatabaseIf& followed, std::uint32_t sequence)
{
    if (!Varnix::Test::waitUntil([&] { return sequenceOf(followed) == sequence; }))
        complain("waited in vain for write " + std::to_string(sequence));
    for (const Parameter& parameter : parameters)
        std::cout << parameter.key << '\t' << parameter.read(followed, parameter.key) << '\n';
    std::cout << "settled" << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: soak_client CONFIG TURNS_PER_SECOND\n";
        return 2;
    }
    const Handle followed = DbRegistryIf::getInstance().initDb(argv[1]);
    if (!followed) {
        std::cerr << "soak_client: no database for " << argv[1] << '\n';
        return 5;
    }
    Churn churn(argv[1], std::max(1U, static_cast<unsigned>(std::atoi(argv[2]))));
    churn.start();
    std::cout << "ready" << std::endl;

    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        std::uint32_t sequence = 0;
        words >> command >> sequence;
        if (command == "settle") {
            churn.stop();
            settle(*followed, sequence);
        } else {
            churn.start();
            std::cout << "resumed" << std::endl;
        }
    }
    churn.stop();
    return wrong ? 1 : 0;
}

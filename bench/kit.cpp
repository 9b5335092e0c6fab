#include "bench/reads.h"
#include "bench/report.h"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <varnix/dbRegistryIf.h>
#include <varnix/kit/parameter.h>
#include <varnix/kit/watcher.h>

// What the kit's reads and looks cost, beside the interface's own reads of the same parameters.

namespace Varnix::Bench {

namespace {

using Database = std::shared_ptr<const V1::DatabaseIf>;

Database open(const Node& node, const Value& value)
{
    const std::string name = value.name;
    const std::string file = node.writeDatabase(name + ".db", {value, keyCount});
    Database database =
        V1::DbRegistryIf::getInstance().initDb(node.writeConfig(name + ".cfg", {file}));
    if (!database)
        throw std::runtime_error("no database for " + name);
    return database;
}

/** Calls `read` with the numbers of all keys, over and over. */
template <typename Read>
void measure(benchmark::State& state, const Read& read)
{
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(read(i));
        if (++i == keyCount)
            i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

template <typename Call>
void add(const std::string& name, Call call)
{
    benchmark::RegisterBenchmark(name.c_str(), std::move(call));
}

/** The interface's read into one output, as a client that knows what it does. */
template <typename Output>
void addOwn(const std::string& name, const Database& database)
{
    add("kit/" + name + "/interface", [database, keys = shuffledKeys()](benchmark::State& state) {
        Output output;
        measure(state, [&](std::size_t i) {
            if (database->get(keys[i], output) != V1::DatabaseIf::RetCode::OK || output.empty())
                std::abort();
            return *output.begin();
        });
    });
}

template <typename T>
std::vector<Kit::Parameter<T>> parametersOf(const Database& database)
{
    std::vector<Kit::Parameter<T>> parameters;
    for (const std::string& key : shuffledKeys())
        parameters.emplace_back(database, key);
    return parameters;
}

template <typename T>
void addValue(const std::string& name, const Database& database)
{
    add("kit/" + name + "/value",
        [parameters = parametersOf<T>(database)](benchmark::State& state) {
            measure(state, [&](std::size_t i) { return parameters[i].value(); });
        });
}

template <typename T>
void addRead(const std::string& name, const Database& database)
{
    add("kit/" + name + "/read", [parameters = parametersOf<T>(database)](benchmark::State& state) {
        T output{};
        measure(state, [&](std::size_t i) {
            if (parameters[i].read(output) != V1::DatabaseIf::RetCode::OK)
                std::abort();
            return *output.begin();
        });
    });
}

/** One look at a thousand parameters that do not change. */
template <typename T>
void addLook(const std::string& name, const Database& database)
{
    add("kit/" + name + "/look", [database](benchmark::State& state) {
        Kit::Watcher watcher(std::chrono::hours(1));
        for (Kit::Parameter<T>& parameter : parametersOf<T>(database))
            watcher.add(std::move(parameter), [](const T&) { std::abort(); });
        for (auto _ : state)
            benchmark::DoNotOptimize(watcher.look());
    });
}

} // namespace

} // namespace Varnix::Bench

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const Node node;
    node.writeProduction({});
    const Database numbers = open(node, {"U16x1", 4, 2});
    const Database lists = open(node, u32x4);
    const Database texts = open(node, text24);
    addOwn<std::vector<std::uint16_t>>("U16x1", numbers);
    addValue<std::uint16_t>("U16x1", numbers);
    addOwn<std::vector<std::uint32_t>>("U32x4", lists);
    addRead<std::vector<std::uint32_t>>("U32x4", lists);
    addOwn<std::string>("text24", texts);
    addRead<std::string>("text24", texts);
    addLook<std::uint16_t>("U16x1", numbers);
    addLook<std::vector<std::uint32_t>>("U32x4", lists);
    addLook<std::string>("text24", texts);
    return runBenchmarks(argc, argv);
}

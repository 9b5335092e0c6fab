#include "bench/node.h"
#include "bench/report.h"

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include <unistd.h>
#include <varnix/dbRegistryIf.h>

// What an operator waits for when "varnix get --pid" looks into a process with many parameters: the
// whole command, from its start to its end. This process is the one that is looked into.

namespace Varnix::Bench {

namespace {

constexpr std::size_t parameterCount = 100000;

void measure(benchmark::State& state, const std::string& command)
{
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError(("it fails: " + command).c_str());
}

void add(const char* name, const std::string& arguments)
{
    const std::string command = "exec '" VARNIX_TOOL "' " + arguments + " >/dev/null";
    benchmark::RegisterBenchmark(name,
                                 [command](benchmark::State& state) { measure(state, command); })
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

} // namespace

} // namespace Varnix::Bench

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const Node node;
    node.writeProduction({});
    const std::string file = node.writeDatabase("many.db", {{"U32x4", 6, 16}, parameterCount});
    const auto database =
        Varnix::V1::DbRegistryIf::getInstance().initDb(node.writeConfig("many.cfg", {file}));
    if (!database)
        throw std::runtime_error("no database");
    add("inspection/command", "--version");
    add("inspection/get",
        "get --pid " + std::to_string(::getpid()) + ' ' + keyOf(parameterCount / 2));
    return runBenchmarks(argc, argv);
}

#include "bench/node.h"
#include "bench/peers.h"
#include "bench/report.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

// Loads, each in a process of its own: in a heap that was used before, a load costs a fraction.

namespace Varnix::Bench {

namespace {

constexpr Value u32x4{"U32x4", 6, 16};
constexpr std::size_t sizes[] = {10, 100, 1000, 10000, 100000, 1000000};
constexpr std::size_t largestCold = 100000;
constexpr std::size_t fileCounts[] = {1, 2, 4, 8, 16, 32, 64};
constexpr std::size_t handleCounts[] = {1, 10, 100, 1000};
constexpr std::size_t processCounts[] = {1, 10, 100};

struct Sample
{
    double startup = 0;
    double load = 0;
    double processor = 0;
    double heap = 0;
    double resident = 0;
};

/** What so many probes say that the command starts, summed up. */
Sample runProbes(const std::string& command, std::size_t probes)
{
    const std::unique_ptr<std::FILE, decltype(&::pclose)> output(::popen(command.c_str(), "r"),
                                                                 ::pclose);
    Sample sum;
    for (std::size_t i = 0; i < probes; ++i) {
        Sample sample;
        if (!output ||
            std::fscanf(output.get(), "%lf %lf %lf %lf %lf", &sample.startup, &sample.load,
                        &sample.processor, &sample.heap, &sample.resident) != 5)
            throw std::runtime_error("the probe failed: " + command);
        sum.startup += sample.startup;
        sum.load += sample.load;
        sum.processor += sample.processor;
        sum.heap += sample.heap;
        sum.resident += sample.resident;
    }
    return sum;
}

/** Takes a file out of the page cache; only what is on the disk can go. */
void makeCold(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ::fsync(fd);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
}

void measure(benchmark::State& state, const std::string& command, const std::string& file,
             bool cold, std::size_t count)
{
    Sample sum;
    for (auto _ : state) {
        if (cold)
            makeCold(file);
        const Sample sample = runProbes(command, 1);
        state.SetIterationTime(sample.load / 1e9);
        sum.startup += sample.startup;
        sum.processor += sample.processor;
        sum.heap += sample.heap;
        sum.resident += sample.resident;
    }
    const auto loads = static_cast<double>(state.iterations());
    const auto parameters = loads * static_cast<double>(count);
    state.counters["startup_ns"] = sum.startup / loads;
    state.counters["processor_ns"] = sum.processor / loads;
    state.counters["heap_per_parameter"] = sum.heap / parameters;
    state.counters["resident_per_parameter"] = sum.resident / parameters;
}

void addLoad(const std::string& name, const std::string& command, const std::string& file,
             bool cold, std::size_t count)
{
    benchmark::RegisterBenchmark(("load/" + name).c_str(), measure, command, file, cold, count)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMicrosecond);
}

/** So many handles on a small database in one process. */
void addHandles(const std::string& empty, const std::string& config, const std::string& file)
{
    for (const std::size_t count : handleCounts)
        addLoad("handles-" + std::to_string(count) + "/varnix",
                LOAD_PROBE " handles " + std::to_string(count) + ' ' + empty + ' ' + config, file,
                false, count);
}

/** So many processes at once, each with a database of its own: by the clock, until all are done. */
void measureProcesses(benchmark::State& state, const std::string& command, std::size_t count)
{
    const std::string all =
        "for i in $(seq " + std::to_string(count) + "); do " + command + " & done; wait";
    double resident = 0;
    for (auto _ : state)
        resident += runProbes(all, count).resident;
    state.counters["resident_per_parameter"] =
        resident / static_cast<double>(state.iterations()) / static_cast<double>(count);
}

void addProcesses(const std::string& empty, const std::string& config)
{
    for (const std::size_t count : processCounts)
        benchmark::RegisterBenchmark(
            ("load/processes-" + std::to_string(count) + "/varnix").c_str(), measureProcesses,
            LOAD_PROBE " varnix " + empty + ' ' + config, count)
            ->UseRealTime()
            ->Iterations(1)
            ->Unit(benchmark::kMicrosecond);
}

/** Of one size: with more, one of them takes seconds. */
void addPeers(const Node& node)
{
    constexpr std::size_t count = 10000;
    for (const Peer* const peer : peers) {
        const std::string file = node.directory() / peer->name;
        peer->write(file, {u32x4, count});
        addLoad(std::to_string(count) + "-warm/" + peer->name,
                std::string(PEER_PROBE " ") + peer->name + ' ' + file, file, false, count);
    }
}

/** As many parameters in many files as in one. */
void addFiles(const Node& node, const std::string& empty)
{
    constexpr std::size_t count = 100000;
    for (const std::size_t files : fileCounts) {
        const std::string name = "files-" + std::to_string(files);
        std::vector<std::string> paths;
        for (std::size_t i = 0; i < files; ++i) {
            const std::size_t first = count * i / files;
            const std::size_t end = count * (i + 1) / files;
            paths.push_back(node.writeDatabase(name + '-' + std::to_string(i) + ".db",
                                               {u32x4, end - first, first}));
        }
        const std::string config = node.writeConfig(name + ".cfg", paths);
        addLoad(name + "/varnix", LOAD_PROBE " varnix " + empty + ' ' + config, paths.front(),
                false, count);
    }
}

void addLoads(const Node& node)
{
    const std::string empty = node.writeConfig("empty.cfg", {});
    addFiles(node, empty);
    const std::string small = node.writeDatabase("small.db", {u32x4, 100});
    const std::string smallConfig = node.writeConfig("small.cfg", {small});
    addHandles(empty, smallConfig, small);
    addProcesses(empty, smallConfig);
    for (const std::size_t count : sizes) {
        const std::string name = std::to_string(count);
        const std::string file = node.writeDatabase(name + ".db", {u32x4, count});
        const std::string config = node.writeConfig(name + ".cfg", {file});
        for (const bool cold : {false, true}) {
            if (cold && count > largestCold)
                continue;
            const std::string label = name + (cold ? "-cold/" : "-warm/");
            addLoad(label + "varnix", LOAD_PROBE " varnix " + empty + ' ' + config, file, cold,
                    count);
            addLoad(label + "floor", LOAD_PROBE " floor " + file, file, cold, count);
        }
    }
}

} // namespace

} // namespace Varnix::Bench

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const Node node;
    node.writeProduction({});
    addLoads(node);
    addPeers(node);
    return runBenchmarks(argc, argv);
}

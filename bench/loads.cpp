#include "bench/node.h"
#include "bench/peers.h"
#include "bench/report.h"

#include <cstdio>
#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

// Loads, each in a process of its own: in a heap that was used before, a load costs a fraction.

namespace Varnix::Bench {

namespace {

constexpr Value u32x4{"U32x4", 6, 16};
constexpr std::size_t sizes[] = {100, 1000, 10000, 100000};

struct Sample
{
    double startup = 0;
    double load = 0;
    double processor = 0;
    double heap = 0;
    double resident = 0;
};

Sample runProbe(const std::string& command)
{
    const std::unique_ptr<std::FILE, decltype(&::pclose)> output(::popen(command.c_str(), "r"),
                                                                 ::pclose);
    Sample sample;
    if (!output || std::fscanf(output.get(), "%lf %lf %lf %lf %lf", &sample.startup, &sample.load,
                               &sample.processor, &sample.heap, &sample.resident) != 5)
        throw std::runtime_error("the probe failed: " + command);
    return sample;
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
        const Sample sample = runProbe(command);
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

void addLoads(const Node& node)
{
    const std::string empty = node.writeConfig("empty.cfg", {});
    for (const std::size_t count : sizes) {
        const std::string name = std::to_string(count);
        const std::string file = node.writeDatabase(name + ".db", {u32x4, count});
        const std::string config = node.writeConfig(name + ".cfg", {file});
        for (const bool cold : {false, true}) {
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

#ifndef VARNIX_BENCH_REPORT_H
#define VARNIX_BENCH_REPORT_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

namespace Varnix::Bench {

/** Runs what is registered, as the command line says. */
inline int runBenchmarks(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

/** Adds median, 99th percentile and worst of the samples, which are nanoseconds. */
inline void reportDistribution(benchmark::State& state, std::vector<std::int64_t> samples)
{
    if (samples.empty())
        return state.SkipWithError("nothing measured");
    std::sort(samples.begin(), samples.end());
    state.counters["median_ns"] = static_cast<double>(samples[samples.size() / 2]);
    state.counters["p99_ns"] = static_cast<double>(samples[samples.size() * 99 / 100]);
    state.counters["worst_ns"] = static_cast<double>(samples.back());
}

} // namespace Varnix::Bench

#endif

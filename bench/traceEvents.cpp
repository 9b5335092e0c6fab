#include "bench/inner.h"
#include "trace.h"

#include <benchmark/benchmark.h>

// script/bench runs "enabled" while a session records, and the others while none does.

namespace Varnix::Bench {

namespace {

void measureNothing(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::ClobberMemory();
}

void measureEvent(benchmark::State& state)
{
    const std::string key = keyOf(0);
    for (auto _ : state) {
        Backend::Trace::info([&] { return "Size of Db: " + key; });
        benchmark::ClobberMemory();
    }
}

} // namespace

void addTraceEvents()
{
    benchmark::RegisterBenchmark("trace/none", measureNothing);
    benchmark::RegisterBenchmark("trace/disabled", measureEvent);
    benchmark::RegisterBenchmark("trace/enabled", measureEvent);
}

} // namespace Varnix::Bench

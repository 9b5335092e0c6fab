#ifndef VARNIX_BENCH_READS_H
#define VARNIX_BENCH_READS_H

#include "bench/node.h"

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

/**
 * How reads are measured, whoever answers them. A reader is a callable that is given a key, copies
 * its value out and returns the value's first byte; each thread makes its own.
 */
namespace Varnix::Bench {

/** What every store is filled with, one store a value. */
inline constexpr std::size_t keyCount = 1000;

/** The values that everybody is asked for. */
inline constexpr Value u32x4{"U32x4", 6, 16};
inline constexpr Value text24{"text24", 10, 24};
inline constexpr Value u8x1024{"U8x1024", 2, 1024};
inline constexpr Value u16x512{"U16x512", 4, 1024};
inline constexpr Value commonValues[] = {u32x4, text24, u8x1024, u16x512};

inline constexpr bool isText(const Value& value)
{
    return value.type == 10;
}

/** Keys in an order that no store was filled in; always the same. */
inline std::vector<std::string> shuffledKeys(std::size_t first = 0)
{
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < keyCount; ++i)
        keys.push_back(keyOf(first + i));
    std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
    return keys;
}

/** Independent reads: their number a second counts. */
template <typename MakeReader>
void measureReads(benchmark::State& state, const std::vector<std::string>& keys,
                  const MakeReader& makeReader)
{
    auto read = makeReader();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(read(keys[i]));
        if (++i == keys.size())
            i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

/** Each read waits for the value of the one before. */
template <typename MakeReader>
void measureChainedReads(benchmark::State& state, const std::vector<std::string>& keys,
                         const MakeReader& makeReader)
{
    auto read = makeReader();
    std::size_t i = 0;
    for (auto _ : state) {
        // No value has its highest bit set, but only the read knows.
        i += 1 + (read(keys[i]) >> 7U);
        if (i >= keys.size())
            i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

template <typename MakeReader>
benchmark::internal::Benchmark* addReads(const std::string& name, std::vector<std::string> keys,
                                         MakeReader makeReader)
{
    return benchmark::RegisterBenchmark(
        ("read/" + name).c_str(), [keys = std::move(keys), makeReader](benchmark::State& state) {
            measureReads(state, keys, makeReader);
        });
}

template <typename MakeReader>
void addChainedReads(const std::string& name, std::vector<std::string> keys, MakeReader makeReader)
{
    benchmark::RegisterBenchmark(("chain/" + name).c_str(),
                                 [keys = std::move(keys), makeReader](benchmark::State& state) {
                                     measureChainedReads(state, keys, makeReader);
                                 });
}

/** One thread, then as many as the machine has. */
template <typename MakeReader>
void addParallelReads(const std::string& name, const std::vector<std::string>& keys,
                      MakeReader makeReader)
{
    const int cores = static_cast<int>(std::max(2U, std::thread::hardware_concurrency()));
    for (const int threads : {1, cores})
        addReads("parallel/" + name, keys, makeReader)->Threads(threads)->UseRealTime();
}

/** @name Who is measured
 * @{ */
void addFloor();
void addVarnix(const Node& node);
/** @} */

} // namespace Varnix::Bench

#endif

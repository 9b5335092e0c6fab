#ifndef VARNIX_BENCH_PROBE_H
#define VARNIX_BENCH_PROBE_H

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <malloc.h>
#include <time.h>
#include <unistd.h>

/**
 * What a process that loads once says: nanoseconds from nothing to being able to load, nanoseconds
 * for the load, by the clock and of the processor, and by how many bytes the heap and the resident
 * memory grew.
 */
namespace Varnix::Bench {

using Clock = std::chrono::steady_clock;

inline long long nanosecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
}

/** What the calling thread had of the processor, in nanoseconds. */
inline long long processorTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

inline long long heapInUse()
{
    const auto info = ::mallinfo2();
    return static_cast<long long>(info.uordblks + info.hblkhd);
}

inline long long residentBytes()
{
    long long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

template <typename Load>
void report(long long startup, const Load& load)
{
    const long long heap = heapInUse();
    const long long resident = residentBytes();
    const long long processor = processorTime();
    const auto start = Clock::now();
    const auto loaded = load();
    const long long took = nanosecondsSince(start);
    const long long processorTook = processorTime() - processor;
    if (!loaded)
        std::exit(1);
    std::printf("%lld %lld %lld %lld %lld\n", startup, took, processorTook, heapInUse() - heap,
                residentBytes() - resident);
}

} // namespace Varnix::Bench

#endif

#include <varnix/dbRegistryIf.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include <malloc.h>
#include <time.h>
#include <unistd.h>

// A process that loads once and says what that took: nanoseconds from nothing to a registry,
// nanoseconds for the load, by the clock and of the processor, and by how many bytes the heap and
// the resident memory grew.

namespace {

using Clock = std::chrono::steady_clock;

long long nanosecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
}

/** What the calling thread had of the processor, in nanoseconds. */
long long processorTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

long long heapInUse()
{
    const auto info = ::mallinfo2();
    return static_cast<long long>(info.uordblks + info.hblkhd);
}

long long residentBytes()
{
    long long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

/** What a load cannot do without: read the file, copy it into memory that stays. */
std::unique_ptr<char[]> readAndCopy(const char* path)
{
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path, "rb"),
                                                                  std::fclose);
    if (!file)
        std::exit(1);
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    std::fseek(file.get(), 0, SEEK_END);
    const auto size = static_cast<std::size_t>(std::ftell(file.get()));
    std::fseek(file.get(), 0, SEEK_SET);
    const std::unique_ptr<char[]> image(new char[size]);
    std::unique_ptr<char[]> copy(new char[size]);
    if (std::fread(image.get(), 1, size, file.get()) != size)
        std::exit(1);
    std::memcpy(copy.get(), image.get(), size);
    return copy;
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

} // namespace

int main(int argc, char** argv)
{
    using Varnix::V1::DbRegistryIf;

    if (argc == 3 && std::string(argv[1]) == "floor") {
        report(0, [&] { return readAndCopy(argv[2]); });
        return 0;
    }
    if (argc == 4 && std::string(argv[1]) == "varnix") {
        // A configuration without files: the registry, its production database, its thread.
        const auto start = Clock::now();
        const auto empty = DbRegistryIf::getInstance().initDb(argv[2]);
        const long long startup = nanosecondsSince(start);
        report(startup, [&] { return DbRegistryIf::getInstance().initDb(argv[3]); });
        return 0;
    }
    std::fputs("usage: load_probe floor FILE | varnix EMPTY-CONFIG CONFIG\n", stderr);
    return 2;
}

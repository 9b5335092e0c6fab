#include "bench/inner.h"
#include "checksum.h"
#include "checksumTable.h"

#include <array>

#include <benchmark/benchmark.h>

namespace Varnix::Bench {

namespace {

constexpr std::uint32_t size = 256U << 10U; // stays in a cache

/** The textbook's way: a table, a byte at a time. */
std::uint16_t byteWise(const unsigned char* data, std::uint32_t count)
{
    static const auto table = [] {
        std::array<std::uint16_t, 256> made{};
        for (unsigned byte = 0; byte < 256; ++byte) {
            unsigned crc = byte;
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
            made[byte] = static_cast<std::uint16_t>(crc);
        }
        return made;
    }();
    unsigned crc = 0xFFFF;
    for (; count != 0; --count, ++data)
        crc = table[(*data ^ crc) & 0xFFU] ^ (crc >> 8U);
    return static_cast<std::uint16_t>(~crc);
}

/** The way of a processor that cannot multiply without carry. */
std::uint16_t byTable(const unsigned char* data, std::uint32_t count)
{
    return static_cast<std::uint16_t>(~Backend::Checksum::advanceByTable(0xFFFF, data, count));
}

void measure(benchmark::State& state,
             std::uint16_t (*checksum)(const unsigned char*, std::uint32_t))
{
    const std::string bytes = bytesOf({"image", 2, size}, 0);
    const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    for (auto _ : state)
        benchmark::DoNotOptimize(checksum(data, size));
    state.SetBytesProcessed(state.iterations() * std::int64_t{size});
}

} // namespace

void addChecksum()
{
    benchmark::RegisterBenchmark("checksum/varnix", measure, Backend::Checksum::checksum_crc16);
    benchmark::RegisterBenchmark("checksum/table", measure, byTable);
    benchmark::RegisterBenchmark("checksum/bytewise", measure, byteWise);
}

} // namespace Varnix::Bench

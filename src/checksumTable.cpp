#include "checksumTable.h"

#include <array>
#include <cstddef>

namespace Varnix::Backend::Checksum {

namespace {

constexpr std::uint32_t stride = 16;

using Table = std::array<std::uint16_t, 256>;

/**
 * tables[0] advances the CRC by one byte; tables[k] by that byte and k zero bytes after it, so
 * that the bytes of a stride are looked up independently of each other.
 */
constexpr std::array<Table, stride> makeTables() noexcept
{
    std::array<Table, stride> tables{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        unsigned int crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ polynomial : crc >> 1U;
        tables[0][byte] = static_cast<std::uint16_t>(crc);
    }
    for (std::size_t k = 1; k < stride; ++k)
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const unsigned int before = tables[k - 1][byte];
            tables[k][byte] =
                static_cast<std::uint16_t>(tables[0][before & 0xFFU] ^ (before >> 8U));
        }
    return tables;
}

constexpr std::array<Table, stride> tables = makeTables();

} // namespace

std::uint16_t advanceByTable(std::uint16_t crc, const unsigned char* data,
                             std::uint32_t count) noexcept
{
    unsigned int state = crc;
    for (; count >= stride; count -= stride, data += stride) {
        // The CRC so far reaches into the first two bytes only.
        unsigned int next = tables[stride - 1][data[0] ^ (state & 0xFFU)] ^
                            static_cast<unsigned int>(tables[stride - 2][data[1] ^ (state >> 8U)]);
        for (std::size_t i = 2; i < stride; ++i)
            next ^= tables[stride - 1 - i][data[i]];
        state = next;
    }
    for (; count != 0; --count, ++data)
        state = tables[0][(*data ^ state) & 0xFFU] ^ (state >> 8U);
    return static_cast<std::uint16_t>(state);
}

} // namespace Varnix::Backend::Checksum

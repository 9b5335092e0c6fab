#ifndef VARNIX_CHECKSUMTABLE_H
#define VARNIX_CHECKSUMTABLE_H

#include <cstdint>

namespace Varnix::Backend::Checksum {

constexpr std::uint16_t polynomial = 0x8408; // 0x1021, least significant bit first

/** The CRC register `crc` after `count` more bytes, by table; runs on every processor. */
std::uint16_t advanceByTable(std::uint16_t crc, const unsigned char* data,
                             std::uint32_t count) noexcept;

} // namespace Varnix::Backend::Checksum

#endif

#ifndef VARNIX_CHECKSUM_H
#define VARNIX_CHECKSUM_H

#include <cstdint>

namespace Varnix::Backend::Checksum {

/**
 * The checksum of a database file: CRC-16/X-25, except that no bytes give 0 and that a CRC of
 * 0xFFFF is replaced by 0x1111.
 */
std::uint16_t checksum_crc16(const unsigned char* data, std::uint32_t count) noexcept;

} // namespace Varnix::Backend::Checksum

#endif

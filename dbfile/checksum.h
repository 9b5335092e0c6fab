#ifndef VARNIX_DBFILE_CHECKSUM_H
#define VARNIX_DBFILE_CHECKSUM_H

#include <cstdint>
#include <string_view>

namespace Varnix::DbFile {

/**
 * The checksum of a database file: CRC-16/X-25, with 0x1111 where that is 0xFFFF, and 0 of no
 * bytes.
 *
 * Computed bit by bit, so that it shares nothing with the library's table and can be held
 * against it.
 */
std::uint16_t checksum(std::string_view bytes) noexcept;

} // namespace Varnix::DbFile

#endif

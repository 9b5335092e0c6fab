#ifndef VARNIX_CHECKSUMFOLDING_H
#define VARNIX_CHECKSUMFOLDING_H

#include <array>
#include <cstdint>

namespace Varnix::Backend::Checksum {

/** What `fold` takes at a time, and what it leaves of any number of them. */
constexpr std::uint32_t foldedBlock = 64;
using Folded = std::array<unsigned char, 16>;

/** Whether this processor multiplies without carry, which `fold` needs. */
bool canFold() noexcept;

/**
 * Sixteen bytes that take a CRC register of 0 where `blocks` blocks at `data`, at least one, take
 * the register `crc`: several times as fast as a table.
 */
Folded fold(std::uint16_t crc, const unsigned char* data, std::uint32_t blocks) noexcept;

} // namespace Varnix::Backend::Checksum

#endif

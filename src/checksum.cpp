#include "checksum.h"

#include "checksumFolding.h"
#include "checksumTable.h"

#include <cstddef>

namespace Varnix::Backend::Checksum {

std::uint16_t checksum_crc16(const unsigned char* data, std::uint32_t count) noexcept
{
    if (count == 0)
        return 0;

    std::uint16_t crc = 0xFFFF;
    if (const std::uint32_t blocks = count / foldedBlock; blocks != 0 && canFold()) {
        const Folded folded = fold(crc, data, blocks);
        crc = advanceByTable(0, folded.data(), folded.size());
        data += std::size_t{blocks} * foldedBlock;
        count %= foldedBlock;
    }
    crc = static_cast<std::uint16_t>(~advanceByTable(crc, data, count));
    return crc == 0xFFFF ? 0x1111 : crc;
}

} // namespace Varnix::Backend::Checksum

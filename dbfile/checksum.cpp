#include "dbfile/checksum.h"

namespace Varnix::DbFile {

namespace {

constexpr std::uint32_t reflectedPolynomial = 0x8408;
constexpr std::uint16_t forbidden = 0xFFFF;
constexpr std::uint16_t substitute = 0x1111;

} // namespace

std::uint16_t checksum(std::string_view bytes) noexcept
{
    if (bytes.empty())
        return 0;
    std::uint32_t crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? crc >> 1 ^ reflectedPolynomial : crc >> 1;
    }
    const auto complement = static_cast<std::uint16_t>(~crc & 0xFFFFU);
    return complement == forbidden ? substitute : complement;
}

} // namespace Varnix::DbFile

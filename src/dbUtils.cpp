#include "dbUtils.h"

#include "checksum.h"
#include "trace.h"

#include <cstring>

namespace Varnix::Backend::DBUtils {

bool checkSumCheck(const unsigned char* image, std::uint32_t length) noexcept
{
    constexpr std::uint32_t coveredBehindLength = 10;
    constexpr std::uint32_t storedBehindLength = 12;
    const std::uint32_t covered = length + coveredBehindLength;
    if (covered < length)
        return false; // more bytes than the checksum can count

    std::uint16_t stored = 0;
    std::memcpy(&stored, image + length + std::size_t{storedBehindLength}, sizeof stored);
    SwapEnd(stored);
    return stored == Checksum::checksum_crc16(image, covered);
}

bool parseDbConfigFile(const std::string& configFile, std::vector<DbConfiguration>& configurations)
{
    const auto error = readConfigFile(configFile, configurations);
    if (error)
        Trace::error([&] { return describe(*error, configFile); });
    return !error;
}

} // namespace Varnix::Backend::DBUtils

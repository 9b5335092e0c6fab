#ifndef VARNIX_DBUTILS_H
#define VARNIX_DBUTILS_H

#include "configFile.h"
#include "tokenize.h"

#include <concepts>
#include <cstdint>
#include <string>
#include <vector>

namespace Varnix::Backend::DBUtils {

/** Bytes of a file that the header's length field does not count. */
inline constexpr std::uint32_t trailerSize = 14;

/** The element types of a file. */
template <typename T>
concept FileInteger = std::same_as<T, unsigned char> || std::same_as<T, signed char> ||
    std::same_as<T, unsigned short> || std::same_as<T, short> || std::same_as<T, unsigned int> ||
    std::same_as<T, int>;

/**
 * Converts `value` between big-endian and host order, in place. Unconditional: files are big-endian
 * and every node is little-endian.
 */
template <FileInteger T>
constexpr void SwapEnd(T& value) noexcept
{
    if constexpr (sizeof(T) == 2)
        value = static_cast<T>(__builtin_bswap16(static_cast<std::uint16_t>(value)));
    else if constexpr (sizeof(T) == 4)
        value = static_cast<T>(__builtin_bswap32(static_cast<std::uint32_t>(value)));
}

/**
 * Whether the checksum in the trailer of the file image at `image` is that of its bytes. `length`
 * is the header's length field; the image holds `length` + trailerSize bytes.
 */
bool checkSumCheck(const unsigned char* image, std::uint32_t length) noexcept;

/**
 * Appends the entries of a component configuration file to `configurations`. Answers false, with
 * one ERROR trace, at the first that is malformed; the entries before it stay appended.
 */
bool parseDbConfigFile(const std::string& configFile, std::vector<DbConfiguration>& configurations);

} // namespace Varnix::Backend::DBUtils

#endif

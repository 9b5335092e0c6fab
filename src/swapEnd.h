#ifndef VARNIX_SWAPEND_H
#define VARNIX_SWAPEND_H

#include <concepts>
#include <cstdint>

namespace Varnix::Backend::DBUtils {

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

} // namespace Varnix::Backend::DBUtils

#endif

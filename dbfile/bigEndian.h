#ifndef VARNIX_DBFILE_BIGENDIAN_H
#define VARNIX_DBFILE_BIGENDIAN_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Varnix::DbFile {

/** Appends the low `size` bytes of `value`, the highest first. */
inline void appendBigEndian(std::string& bytes, std::uint64_t value, std::size_t size)
{
    for (std::size_t i = size; i-- > 0;)
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
}

/** The number of `size` bytes at `offset`, which must lie inside `bytes`. */
inline std::uint64_t readBigEndian(std::string_view bytes, std::size_t offset,
                                   std::size_t size) noexcept
{
    std::uint64_t value = 0;
    for (const char byte : std::string_view(bytes.data() + offset, size))
        value = value << 8 | static_cast<std::uint8_t>(byte);
    return value;
}

} // namespace Varnix::DbFile

#endif

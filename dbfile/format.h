#ifndef VARNIX_DBFILE_FORMAT_H
#define VARNIX_DBFILE_FORMAT_H

#include <cstddef>
#include <cstdint>

/**
 * The constants of a database file, described in docs/database-file-format.md.
 *
 * They are frozen: files on nodes' flash carry them. All multi-byte numbers are big-endian.
 */
namespace Varnix::DbFile::Format {

inline constexpr char magic = 'H';
inline constexpr char version = 4;
inline constexpr char recordTag = 'F';

inline constexpr std::size_t headerSize = 10;
inline constexpr std::size_t magicOffset = 0;
inline constexpr std::size_t versionOffset = 1;
inline constexpr std::size_t reservedOffset = 2;
inline constexpr std::size_t reservedSize = 4;
inline constexpr std::size_t lengthOffset = 6;

/** What follows offset N: covered bytes, unchecked bytes, the checksum. */
inline constexpr std::size_t coveredTailSize = 10;
inline constexpr std::size_t uncheckedSize = 2;
inline constexpr std::size_t checksumSize = 2;
inline constexpr std::size_t trailerSize = coveredTailSize + uncheckedSize + checksumSize;

/** A record's parts other than its key and its data: the tag, the key's NUL, type and length. */
inline constexpr std::size_t recordOverhead = 6;
inline constexpr std::uint32_t maxDataLength = 0xFFFFFF;

/** The largest N for which the checksum's 32-bit count can say how many bytes it covers. */
inline constexpr std::uint32_t maxLength = UINT32_MAX - coveredTailSize;
/** The largest N that the software loader's 32-bit total can hold. */
inline constexpr std::uint32_t maxSoftwareLength = UINT32_MAX - trailerSize;

} // namespace Varnix::DbFile::Format

#endif

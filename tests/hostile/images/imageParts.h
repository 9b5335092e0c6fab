#ifndef VARNIX_TESTS_HOSTILE_IMAGEPARTS_H
#define VARNIX_TESTS_HOSTILE_IMAGEPARTS_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

/** What the images are made of. Everything but what a name says is right, the checksum included. */
namespace Varnix::Test::ImageParts {

using Bytes = std::initializer_list<std::uint8_t>;
using Sizes = std::initializer_list<std::size_t>;

inline constexpr std::uint8_t undefined = 0;
inline constexpr std::uint8_t u8 = 2;
inline constexpr std::uint8_t u16 = 4;
inline constexpr std::uint8_t u32 = 6;
inline constexpr std::uint8_t text = 10;
inline constexpr std::uint32_t longest = 0xFFFFFF;

inline constexpr std::size_t headerSize = 10;
inline constexpr std::size_t trailerSize = 14;

/** A record up to its data; `size` is the length that it says. */
std::string opening(const std::string& key, std::uint8_t type, std::size_t size, char tag = 'F');

/** A whole record. */
std::string record(const std::string& key, std::uint8_t type, const std::string& data,
                   char tag = 'F');

/** The records that most images begin with: the node's identity and "/a". */
std::string goodRecords();

/** Where the record after them starts. */
std::size_t behindGood();

/** An image of these records and no others. */
std::string imageOfRecords(const std::string& records);

/** The same, with these bytes from N on. */
std::string imageOfRecords(const std::string& records, const std::string& behind);

/** An image that nothing is wrong with. */
std::string goodImage();

/** Bytes that differ from each other and are neither zero nor a tag. */
std::string filler(std::size_t size);

/** Changes reserved bytes until no byte of the checksum is zero. */
void makeChecksumWithoutZero(std::string& image);

/** A number in two digits at least, for names that sort. */
std::string numbered(const std::string& name, std::uint64_t number);

} // namespace Varnix::Test::ImageParts

#endif

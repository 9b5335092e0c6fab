#ifndef VARNIX_TESTS_HOSTILE_MODEL_H
#define VARNIX_TESTS_HOSTILE_MODEL_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/**
 * What the format's rules say of a file. Written from docs/database-file-format.md, with nothing of
 * the library or of dbfile/.
 */
namespace Varnix::Test::ImageModel {

/** A value as a store holds it; the type 0 is that of a key that no record gave a byte. */
struct Value
{
    std::uint8_t type = 0;
    std::string data = {};
};

using Values = std::map<std::string, Value>;

struct Verdict
{
    /** Header, size and checksum are right: a production database is looked for no further. */
    bool isLoaded = false;
    /** Every record that is taken ends inside the image. */
    bool isAccepted = false;
    /** Nothing is wrong with the file. */
    bool isClean = false;
    /** The header promises more bytes than there are: a production database is waited for. */
    bool isAwaited = false;
    Values values = {};
    /** The keys of all records that were looked at, the skipped ones included. */
    std::vector<std::string> keys = {};
};

Verdict judge(std::string_view file);

/** CRC-16/X-25, bit by bit. */
std::uint16_t crc(std::string_view bytes);

/** The same, with the format's exception. */
std::uint16_t checksum(std::string_view bytes);

/** The runs of characters between blanks. */
std::vector<std::string> words(std::string_view text);

/** The bytes of one element of a type; 0 for a type without a name. */
std::size_t elementSize(std::uint8_t type);

/** The whole elements of a value of an integer type. */
std::vector<std::int64_t> elements(const Value& value);

} // namespace Varnix::Test::ImageModel

#endif

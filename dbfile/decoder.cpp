#include "dbfile/decoder.h"

#include "dbfile/bigEndian.h"
#include "dbfile/checksum.h"

namespace Varnix::DbFile {

namespace {

Finding shortHeader(std::string_view image)
{
    return {image.size(), "the file ends inside its header: it holds " +
                              std::to_string(image.size()) + " bytes, a header takes " +
                              std::to_string(Format::headerSize)};
}

std::string expected(char found, char wanted)
{
    return hexNumber(static_cast<unsigned char>(found)) + ", not " +
           hexNumber(static_cast<unsigned char>(wanted));
}

void checkHeader(std::string_view image, std::vector<Finding>& findings)
{
    const char magic = image[Format::magicOffset];
    const char version = image[Format::versionOffset];
    if (magic != Format::magic)
        findings.push_back({Format::magicOffset, "not a database file: the first byte is " +
                                                     expected(magic, Format::magic)});
    else if (version != Format::version)
        findings.push_back({Format::versionOffset,
                            "unknown format: the byte is " + expected(version, Format::version)});
}

/** The size and the checksum, which mean nothing in a file that is not of this format. */
void checkContent(std::string_view image, std::vector<Finding>& findings)
{
    const std::uint64_t length = lengthField(image);
    const std::uint64_t size = length + Format::trailerSize;
    if (length > Format::maxLength) {
        findings.push_back({Format::lengthOffset, "the length " + std::to_string(length) +
                                                      " is more than a file can have"});
        return;
    }
    if (endsEarly(image)) {
        findings.push_back({image.size(), "the file ends early: it holds " +
                                              std::to_string(image.size()) +
                                              " bytes, its header says " + std::to_string(size)});
        return;
    }
    const std::size_t place = size - Format::checksumSize;
    const std::uint64_t stored = readBigEndian(image, place, Format::checksumSize);
    const std::uint64_t computed = checksum(image.substr(0, length + Format::coveredTailSize));
    if (stored != computed)
        findings.push_back({place, "the checksum does not match: the file says " +
                                       hexNumber(stored) + ", its bytes give " +
                                       hexNumber(computed)});
}

} // namespace

bool isThisFormat(std::string_view image) noexcept
{
    return image.size() >= Format::headerSize && image[Format::magicOffset] == Format::magic &&
           image[Format::versionOffset] == Format::version;
}

std::uint32_t lengthField(std::string_view image) noexcept
{
    return static_cast<std::uint32_t>(readBigEndian(image, Format::lengthOffset, 4));
}

bool endsEarly(std::string_view image) noexcept
{
    return isThisFormat(image) &&
           image.size() < lengthField(image) + std::uint64_t{Format::trailerSize};
}

std::optional<RecordPlace> recordAt(std::string_view image, std::size_t start, std::size_t limit)
{
    const std::string_view readable = image.substr(0, limit);
    const std::size_t keyEnd = readable.find('\0', start + 1);
    if (keyEnd == std::string_view::npos || readable.size() - keyEnd < 1 + sizeof(std::uint32_t))
        return std::nullopt;
    RecordPlace place{.start = start, .keySize = keyEnd - start - 1};
    place.type = static_cast<std::uint8_t>(readBigEndian(image, place.typeOffset(), 1));
    place.dataSize = readBigEndian(image, place.lengthOffset(), 3);
    return place;
}

std::vector<Finding> refusals(std::string_view image)
{
    if (image.size() < Format::headerSize)
        return {shortHeader(image)};
    std::vector<Finding> findings;
    checkHeader(image, findings);
    if (findings.empty())
        checkContent(image, findings);
    return findings;
}

Database decode(std::string_view image)
{
    const std::size_t length = lengthField(image);
    const std::size_t covered = length + Format::coveredTailSize;
    Database database;
    database.reserved = image.substr(Format::reservedOffset, Format::reservedSize);

    // As the loader walks: a record is read when it starts before N, and one of another tag is the
    // last. What is not a record inside the covered bytes is left to the tail.
    std::size_t position = Format::headerSize;
    bool lastRecord = false;
    while (position < length && !lastRecord) {
        const auto place = recordAt(image, position, covered);
        if (!place || place->end() > covered)
            break;
        database.records.push_back(
            {.tag = image[position],
             .key = std::string(image.substr(position + 1, place->keySize)),
             .type = place->type,
             .data = std::string(image.substr(place->dataOffset(), place->dataSize))});
        lastRecord = image[position] != Format::recordTag;
        position = place->end();
    }
    database.tail = image.substr(position, covered - position);
    database.unchecked = image.substr(covered, Format::uncheckedSize);
    database.extra = image.substr(length + Format::trailerSize);
    return database;
}

} // namespace Varnix::DbFile

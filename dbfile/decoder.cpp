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

/** The records that a loader's walk takes, and what ends it before its end. */
struct Walk
{
    std::vector<RecordPlace> records;
    std::optional<Finding> refusal;
};

std::string_view keyOf(std::string_view image, const RecordPlace& place)
{
    return image.substr(place.start + 1, place.keySize);
}

bool isStored(std::string_view image, const RecordPlace& place)
{
    return isKept(keyOf(image, place), place.type);
}

Finding outside(std::size_t position, const std::string& what, std::size_t end)
{
    return {position, what + " before " + hexNumber(end) + ", where the checksum ends"};
}

/** A record is taken when it starts before N, and one of another tag is the last. */
Walk walk(std::string_view image)
{
    const std::size_t length = lengthField(image);
    const std::size_t end = length + Format::trailerSize;
    Walk taken;
    for (std::size_t position = Format::headerSize; position < length;) {
        const auto place = recordAt(image, position, end);
        if (!place) {
            taken.refusal = outside(position, "a record's key, type and length do not end", end);
            break;
        }
        if (place->end() > end && isStored(image, *place))
            taken.refusal = outside(
                position, "a record of " + std::to_string(place->size()) + " bytes does not end",
                end);
        else
            taken.records.push_back(*place);
        if (image[position] != Format::recordTag)
            break;
        position = place->end();
    }
    return taken;
}

Record recordOf(std::string_view image, const RecordPlace& place)
{
    return {.tag = image[place.start],
            .key = std::string(keyOf(image, place)),
            .type = place.type,
            .data = std::string(image.substr(place.dataOffset(), place.dataSize))};
}

/** Where the bytes end that the checksum covers. */
std::size_t coveredSize(std::string_view image) noexcept
{
    return lengthField(image) + Format::coveredTailSize;
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

std::vector<Finding> loadRefusals(std::string_view image)
{
    if (image.size() < Format::headerSize)
        return {shortHeader(image)};
    std::vector<Finding> findings;
    checkHeader(image, findings);
    if (findings.empty())
        checkContent(image, findings);
    return findings;
}

std::vector<Finding> refusals(std::string_view image)
{
    std::vector<Finding> findings = loadRefusals(image);
    if (findings.empty())
        if (std::optional<Finding> refusal = walk(image).refusal)
            findings.push_back(std::move(*refusal));
    return findings;
}

Database decode(std::string_view image)
{
    const std::size_t covered = coveredSize(image);
    Database database;
    database.reserved = image.substr(Format::reservedOffset, Format::reservedSize);
    // What is not a record inside the covered bytes is left to the tail.
    std::size_t position = Format::headerSize;
    for (const RecordPlace& place : walk(image).records) {
        if (place.end() > covered)
            break;
        database.records.push_back(recordOf(image, place));
        position = place.end();
    }
    database.tail = image.substr(position, covered - position);
    database.unchecked = image.substr(covered, Format::uncheckedSize);
    database.extra = image.substr(lengthField(image) + Format::trailerSize);
    return database;
}

std::optional<Record> overlap(std::string_view image)
{
    const Walk taken = walk(image);
    if (taken.records.empty())
        return std::nullopt;
    const RecordPlace& last = taken.records.back();
    if (last.end() <= coveredSize(image) || !isStored(image, last))
        return std::nullopt;
    return recordOf(image, last);
}

std::vector<Record> readRecords(std::string_view image)
{
    std::vector<Record> records = decode(image).records;
    if (std::optional<Record> last = overlap(image))
        records.push_back(std::move(*last));
    return records;
}

} // namespace Varnix::DbFile

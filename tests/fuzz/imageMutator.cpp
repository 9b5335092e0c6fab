/**
 * Changes database files so that what a loader verifies first stays right: most results have the
 * header, the length and the checksum of a whole file, and the change is among the records.
 */
#include "dbfile/decoder.h"
#include "target.h"
#include "tests/support/dbBuilder.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>

extern "C" {
std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                    unsigned int seed);
}

namespace {

using namespace Varnix;
namespace Format = DbFile::Format;

using Random = std::minstd_rand;

bool oneIn(Random& random, unsigned int n)
{
    return random() % n == 0;
}

std::size_t below(Random& random, std::size_t n)
{
    return random() % n;
}

void mutateBytes(std::string& bytes, std::size_t maxSize)
{
    const std::size_t size = bytes.size();
    bytes.resize(std::max(maxSize, size));
    bytes.resize(
        LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size, bytes.size()));
}

void mutateKey(DbFile::Record& record)
{
    mutateBytes(record.key, record.key.size() + 8);
    std::erase(record.key, '\0');
}

void mutateRecord(DbFile::Record& record, Random& random)
{
    switch (below(random, 6)) {
    case 0:
        mutateKey(record);
        break;
    case 1:
        record.type = static_cast<std::uint8_t>(below(random, 12));
        break;
    case 2:
        record.data.clear();
        break;
    case 3:
        record.tag = static_cast<char>(random());
        break;
    default:
        mutateBytes(record.data, record.data.size() + 16);
    }
}

void mutateRecords(std::vector<DbFile::Record>& records, Random& random)
{
    const std::size_t i = below(random, records.size());
    const std::size_t j = below(random, records.size());
    switch (below(random, 8)) {
    case 0:
        records.push_back(records[i]);
        break;
    case 1:
        records.erase(records.begin() + static_cast<std::ptrdiff_t>(i));
        break;
    case 2:
        std::swap(records[i], records[j]);
        break;
    case 3:
        records[i].key = records[j].key;
        break;
    default:
        mutateRecord(records[i], random);
    }
}

/** Mutates what the file says: its records, seldom what is around them. */
std::string mutateStructure(std::string_view image, Random& random)
{
    DbFile::Database database = DbFile::decode(image);
    if (database.records.empty() || oneIn(random, 16))
        database.records.push_back({.key = "/new", .type = 2, .data = "\x01"});
    if (oneIn(random, 16))
        mutateBytes(database.tail, database.tail.size() + 16);
    else
        mutateRecords(database.records, random);
    return DbFile::encode(database);
}

/** With a length this much shorter the last record just reaches past the checksum, or does not. */
constexpr std::size_t furthestOverlap = 2 * (Format::coveredTailSize + Format::trailerSize);

/** Gives the bytes a header that fits them, at times one that counts fewer, and their checksum. */
void repair(std::string& image, Random& random)
{
    image.resize(std::max(image.size(), Format::headerSize + Format::trailerSize));
    image[Format::magicOffset] = Format::magic;
    image[Format::versionOffset] = Format::version;
    std::size_t length = image.size() - Format::trailerSize;
    if (oneIn(random, 32))
        length = below(random, length);
    else if (oneIn(random, 4))
        length -= below(random, std::min(length, furthestOverlap));
    Test::setLength(image, static_cast<std::uint32_t>(length));
    Test::repairChecksum(image);
}

} // namespace

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                    unsigned int seed)
{
    Random random(seed);
    std::string image(Fuzz::viewOf(data, size));
    if (maxSize < Format::headerSize + Format::trailerSize || oneIn(random, 8))
        return LLVMFuzzerMutate(data, size, maxSize);
    if (oneIn(random, 2)) {
        mutateBytes(image, maxSize);
        repair(image, random);
    } else {
        repair(image, random);
        image = mutateStructure(image, random);
        if (oneIn(random, 4))
            repair(image, random);
    }
    if (image.size() > maxSize)
        return LLVMFuzzerMutate(data, size, maxSize);
    std::memcpy(data, image.data(), image.size());
    return image.size();
}

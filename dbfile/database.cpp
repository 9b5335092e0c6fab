#include "dbfile/database.h"

#include "dbfile/bigEndian.h"
#include "dbfile/checksum.h"
#include "dbfile/types.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace Varnix::DbFile {

namespace {

void require(bool condition, const char* what)
{
    if (!condition)
        throw std::length_error(what);
}

void append(std::string& bytes, const Record& record)
{
    require(record.key.find('\0') == std::string::npos, "a key holds a NUL");
    require(record.data.size() <= Format::maxDataLength, "a record's data is too long");
    bytes.push_back(record.tag);
    bytes.append(record.key).push_back('\0');
    appendBigEndian(bytes, record.type, 1);
    appendBigEndian(bytes, record.data.size(), 3);
    bytes.append(record.data);
}

} // namespace

std::size_t Record::size() const noexcept
{
    return Format::recordOverhead + key.size() + data.size();
}

bool isKept(std::string_view key, std::uint8_t type) noexcept
{
    return key.starts_with('/') && type != undefinedType;
}

std::uint64_t Database::length() const noexcept
{
    return std::accumulate(
        records.begin(), records.end(), std::uint64_t{tail.size()},
        [](std::uint64_t sum, const Record& record) { return sum + record.size(); });
}

std::string encode(const Database& database)
{
    require(database.length() <= Format::maxLength, "the database is too long");
    require(database.reserved.size() == Format::reservedSize, "the reserved bytes are not four");
    require(database.unchecked.size() == Format::uncheckedSize, "the unchecked bytes are not two");

    std::string bytes;
    bytes.reserve(database.length() + Format::trailerSize + database.extra.size());
    bytes.push_back(Format::magic);
    bytes.push_back(Format::version);
    bytes.append(database.reserved);
    appendBigEndian(bytes, database.length(), 4);
    for (const Record& record : database.records)
        append(bytes, record);
    bytes.append(database.tail);
    const std::uint16_t sum = checksum(bytes);
    bytes.append(database.unchecked);
    appendBigEndian(bytes, sum, Format::checksumSize);
    return bytes.append(database.extra);
}

bool isPlainKey(std::string_view key) noexcept
{
    return key.size() > 1 && key.front() == '/' && std::all_of(key.begin(), key.end(), [](char c) {
               return c > ' ' && c <= '~' && c != '"' && c != '#';
           });
}

} // namespace Varnix::DbFile

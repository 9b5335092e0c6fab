#ifndef VARNIX_DBFILE_DATABASE_H
#define VARNIX_DBFILE_DATABASE_H

#include "dbfile/format.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/** One record. */
struct Record
{
    char tag = Format::recordTag;
    std::string key = {};
    std::uint8_t type = 0;
    /** The value's bytes as the file has them: elements are big-endian. */
    std::string data = {};

    /** The bytes that the record takes in a file. */
    std::size_t size() const noexcept;

    bool operator==(const Record&) const = default;
};

/** Whether a store keeps a record; it skips any other, whatever its data. */
bool isKept(std::string_view key, std::uint8_t type) noexcept;

/**
 * A database file as an exact value: every file that a loader accepts has one such value, and
 * encode() turns it back into the same bytes.
 *
 * The file is the header, the records, `tail`, `unchecked`, the checksum of all before `unchecked`,
 * and `extra`. A file as build makes it has a tail of ten zero bytes; any other tail holds bytes
 * that are no whole records (longer), or follows a record that reaches past offset N
 * (shorter), or belongs to a file without records (N below 10).
 */
struct Database
{
    std::string reserved = std::string(Format::reservedSize, '\0');
    std::vector<Record> records;
    std::string tail = std::string(Format::coveredTailSize, '\0');
    std::string unchecked = std::string(Format::uncheckedSize, '\0');
    /** What follows the checksum; loaders do not read it. */
    std::string extra;

    /** The header's length field N, before it is known to fit there. */
    std::uint64_t length() const noexcept;

    bool operator==(const Database&) const = default;
};

/**
 * The file's bytes. Throws std::length_error when the value has no file: a key with a NUL, data or
 * a total too long, or a fixed part of another size.
 */
std::string encode(const Database& database);

/**
 * Whether a key can be in a line of a text source as it is: "/" and at least one character more,
 * all printable ASCII and none of them a blank, a double quote or a number sign.
 */
bool isPlainKey(std::string_view key) noexcept;

} // namespace Varnix::DbFile

#endif

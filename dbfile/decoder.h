#ifndef VARNIX_DBFILE_DECODER_H
#define VARNIX_DBFILE_DECODER_H

#include "dbfile/database.h"
#include "dbfile/finding.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/** Whether the image holds a whole header with the right magic and format bytes. */
bool isThisFormat(std::string_view image) noexcept;

/** The header's length field N of an image that holds a whole header. */
std::uint32_t lengthField(std::string_view image) noexcept;

/** Whether an image of this format ends before its header says. */
bool endsEarly(std::string_view image) noexcept;

/** Where a record is in an image. */
struct RecordPlace
{
    std::size_t start = 0;
    std::size_t keySize = 0;
    std::uint8_t type = 0;
    std::size_t dataSize = 0;

    std::size_t typeOffset() const noexcept { return start + keySize + 2; }
    std::size_t lengthOffset() const noexcept { return typeOffset() + 1; }
    std::size_t dataOffset() const noexcept { return start + Format::recordOverhead + keySize; }
    std::size_t size() const noexcept { return end() - start; }
    /** Where the next record starts; it may lie outside the image. */
    std::size_t end() const noexcept { return dataOffset() + dataSize; }
};

/**
 * The record at `start`, or nothing when its key, type and length are not all before `limit`.
 * Its data may still reach past `limit`.
 */
std::optional<RecordPlace> recordAt(std::string_view image, std::size_t start, std::size_t limit);

/** Everything in the header, the size and the checksum for which the image is not loaded. */
std::vector<Finding> loadRefusals(std::string_view image);

/**
 * Everything for which a loader refuses the image, in the order of the file; empty: accepted. That
 * is what keeps it from being loaded, or else the first record that a store cannot take: its key,
 * its type and length, or data that the store would keep, do not end where the checksum does.
 */
std::vector<Finding> refusals(std::string_view image);

/** The value of an image that a loader accepts. */
Database decode(std::string_view image);

/**
 * The record that a store keeps although it reaches past the covered bytes, even into the checksum.
 * decode() leaves it to the tail: no value says both what it holds and the bytes there.
 */
std::optional<Record> overlap(std::string_view image);

/** What a store gets of an image that a loader accepts: the records of decode() and overlap(). */
std::vector<Record> readRecords(std::string_view image);

} // namespace Varnix::DbFile

#endif

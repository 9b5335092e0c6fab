#ifndef VARNIX_TESTS_DBBUILDER_H
#define VARNIX_TESTS_DBBUILDER_H

#include "dbfile/database.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Test {

/**
 * Builds the bytes of a database file, right or deliberately odd:
 *
 *     const std::string image = DbBuilder().u16("/unit/gain", {17, 31}).text("/a", "x").image();
 *     DbBuilder().text("/componentConfigId", "board-x_R2B").write(path);
 */
class DbBuilder
{
public:
    DbBuilder& u8(const std::string& key, const std::vector<std::int64_t>& values);
    DbBuilder& s8(const std::string& key, const std::vector<std::int64_t>& values);
    DbBuilder& u16(const std::string& key, const std::vector<std::int64_t>& values);
    DbBuilder& s16(const std::string& key, const std::vector<std::int64_t>& values);
    DbBuilder& u32(const std::string& key, const std::vector<std::int64_t>& values);
    DbBuilder& s32(const std::string& key, const std::vector<std::int64_t>& values);
    DbBuilder& text(const std::string& key, std::string_view value);

    /** Any record: every tag, key, type and data. */
    DbBuilder& record(DbFile::Record record);
    /** The covered bytes after the records; without this, ten zero bytes. */
    DbBuilder& tail(std::string bytes);
    DbBuilder& reserved(std::string fourBytes);
    DbBuilder& unchecked(std::string twoBytes);
    DbBuilder& extra(std::string bytes);

    const DbFile::Database& database() const noexcept { return m_database; }
    std::string image() const;
    void write(const std::filesystem::path& path) const;

private:
    DbBuilder& numbers(std::string_view type, const std::string& key,
                       const std::vector<std::int64_t>& values);

    DbFile::Database m_database;
};

/** Writes a file's whole content; throws when that fails. */
void writeFile(const std::filesystem::path& path, std::string_view content);

/** A file's whole content; throws when it cannot be read. */
std::string readFile(const std::filesystem::path& path);

/** Sets the length field N of an image; the checksum stays as it is. */
void setLength(std::string& image, std::uint32_t length);

/**
 * An image of the length N with these bytes from offset 10 on, filled up with zeros; its last two
 * bytes are the checksum.
 */
std::string imageOf(std::uint32_t length, std::string_view bytes);

/** A file with a right checksum that no store takes: after "/a" a record says 16 MB of data. */
std::string imageThatReachesOutside();

/** A file with a right checksum whose "/b" is a text that takes its unchecked bytes too. */
std::string imageThatOverlaps();

/** Changes the reserved bytes so that the checksum is `wanted`; for 0xFFFF it is 0x1111. */
void forceChecksum(std::string& image, std::uint16_t wanted);

/** Makes the stored checksum right for the bytes, where the image is long enough to hold one. */
void repairChecksum(std::string& image);

} // namespace Varnix::Test

#endif

#ifndef VARNIX_DBCONTAINER_H
#define VARNIX_DBCONTAINER_H

#include "typeOfData.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Varnix::Backend {

/** The first ten bytes of a database file; `length` is big-endian there. */
struct [[gnu::packed]] DB_HeaderS
{
    char magic;
    unsigned char format;
    unsigned char reserved[4];
    std::uint32_t length;
};
static_assert(sizeof(DB_HeaderS) == 10);

/** One record of a database file, its data still in the file's image. */
struct DbRecord
{
    std::string key;
    TypeOfData_t type = TypeOfData_t::UNDEFINED;
    const unsigned char* data = nullptr;
    std::uint32_t length = 0;
};

/** A record as it is in an image: tag, key, word, data. */
struct RecordPlace
{
    std::string_view key() const noexcept
    {
        return {reinterpret_cast<const char*>(start) + 1, keyLength};
    }
    TypeOfData_t type() const noexcept { return static_cast<TypeOfData_t>(word >> 24U); }
    std::uint32_t length() const noexcept { return word & 0x00FFFFFFU; }
    std::size_t dataOffset() const noexcept { return keyLength + 2 + sizeof word; }
    std::uint64_t size() const noexcept { return std::uint64_t{dataOffset()} + length(); }
    bool isParameter() const noexcept { return key().starts_with('/'); }

    const unsigned char* start;
    std::size_t keyLength;
    std::uint32_t word; ///< type in the high byte, then length
};

/** How much a store keeps of a file. */
struct Contents
{
    std::size_t parameters = 0;
    std::size_t keyBytes = 0; ///< of all their keys
};

/**
 * Loads one database file and walks its records. A container is loaded once and used by one thread.
 */
class DbContainer
{
public:
    class iterator;

    DbContainer() = default;

    /** Loads a software database. */
    bool loadSwDb(const std::string& path);

    /** Loads a production database from a file or a device node. */
    bool loadProductionDb(const std::string& path);

    /** Loads the production database that the environment names. */
    bool loadProductionDb();

    /**
     * Reads the whole file at `fd`, whose header is `header`, and converts the header's length to
     * host order. The caller owns the image and frees it with array delete; null on failure.
     */
    unsigned char* loadProductionDbBody(int fd, DB_HeaderS* header) const;

    /**
     * What a store keeps of the records, those of an equal key included. Nothing where the image
     * cannot be read: a record's key or its word, or data to be kept, does not end inside it.
     */
    std::optional<Contents> measure() const noexcept;

private:
    /** The whole file as its header counts it. */
    std::span<const unsigned char> bytes() const noexcept;

    DbRecord m_record;             ///< the record that the iterator decoded last
    std::uint32_t m_imageSize = 0; ///< the header's length field: where the walk ends
    std::unique_ptr<unsigned char[]> m_image;
};

/**
 * A position in a container's image. It reads nothing outside the image: a record whose key or word
 * does not end there has no key and no type and is the last. Whether a record's data is all there
 * is for measure() to say.
 */
class DbContainer::iterator
{
public:
    static iterator begin(DbContainer* container) noexcept;
    static iterator end(DbContainer* container) noexcept;

    /** Decodes the record at the position into the container and returns it. */
    DbRecord& operator*() const;

    /** The key of the record at the position, however it begins; lives as long as the image. */
    std::string_view key() const noexcept;

    iterator& operator++() noexcept;

    bool operator==(const iterator& other) const noexcept
    {
        return m_container == other.m_container && m_position == other.m_position;
    }

private:
    iterator(DbContainer* container, std::uint32_t position) noexcept;

    DbContainer* m_container;
    std::uint32_t m_position;           ///< offset from the start of the image
    std::optional<RecordPlace> m_place; ///< none at the end, and where the image ends too early
};

} // namespace Varnix::Backend

#endif

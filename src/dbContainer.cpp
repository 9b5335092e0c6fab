#include "dbContainer.h"

#include "dbUtils.h"
#include "fileDescriptor.h"
#include "pages.h"
#include "trace.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <optional>
#include <span>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>

namespace Varnix::Backend {

namespace {

constexpr char recordTag = 'F';
constexpr std::uint32_t firstRecord = sizeof(DB_HeaderS);
constexpr std::size_t longestReportedKey = 128;

bool isDatabaseHeader(const DB_HeaderS& header) noexcept
{
    return header.magic == 'H' && header.format == 4;
}

/** A pipe has no end to open it at, and to open it would wait for somebody who writes. */
bool isPipe(const std::string& path) noexcept
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

/** The record at `position`; nothing where its key or its word does not end inside the image. */
std::optional<RecordPlace> placeAt(std::span<const unsigned char> image,
                                   std::uint32_t position) noexcept
{
    const auto record = image.subspan(position);
    const auto keyOn = record.subspan(1);
    const auto* const keyEnd =
        static_cast<const unsigned char*>(std::memchr(keyOn.data(), '\0', keyOn.size()));
    if (keyEnd == nullptr)
        return std::nullopt;
    RecordPlace place{record.data(), static_cast<std::size_t>(keyEnd - keyOn.data()), 0};
    if (place.dataOffset() > record.size())
        return std::nullopt;
    std::memcpy(&place.word, keyEnd + 1, sizeof place.word);
    DBUtils::SwapEnd(place.word);
    return place;
}

/** The position `step` bytes on, `end` at most. Summed in 64 bits: in 32 it may wrap. */
constexpr std::uint32_t stepped(std::uint32_t position, std::uint64_t step, std::uint32_t end)
{
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(end, position + step));
}
static_assert(stepped(0xFFFFFFF0, 0x1000006, 0xFFFFFFF5) == 0xFFFFFFF5);

/** Where the walk goes on after the record at `position`. */
std::uint32_t positionAfter(const RecordPlace& place, std::uint32_t position,
                            std::uint32_t end) noexcept
{
    return *place.start == recordTag ? stepped(position, place.size(), end) : end;
}

std::uint32_t lengthOf(const DB_HeaderS& header) noexcept
{
    std::uint32_t length = header.length;
    DBUtils::SwapEnd(length);
    return length;
}

} // namespace

bool DbContainer::loadSwDb(const std::string& path)
{
    std::ifstream file;
    if (!isPipe(path))
        file.open(path, std::ios::binary | std::ios::ate);
    if (!file.is_open()) {
        Trace::info([&] { return "ABN: Failed opening db file " + path; });
        return false;
    }
    // Only the low 32 bits count; a position that cannot be told counts as a long file.
    const auto size = static_cast<std::uint32_t>(static_cast<std::streamoff>(file.tellg()));
    if (size < sizeof(DB_HeaderS)) {
        Trace::info([&] { return "ABN: " + path + " is not a DB file, will not read it "; });
        return false;
    }
    DB_HeaderS header{};
    if (!file.seekg(0).read(reinterpret_cast<char*>(&header), sizeof header)) {
        Trace::info([&] { return "ABN: Failed to load db header from file " + path; });
        return false;
    }
    if (!isDatabaseHeader(header)) {
        Trace::info([&] { return "ABN: Failed to read the header from " + path; });
        return false;
    }

    const std::uint32_t length = lengthOf(header);
    const std::uint32_t total = length + DBUtils::trailerSize;
    const bool totalWrapped = total < length;
    std::unique_ptr<unsigned char[]> image(new (std::nothrow) unsigned char[total]);
    if (!image) {
        Trace::error([&] { return "Failed to allocate memory buffer for db file " + path; });
        return false;
    }
    populatePages(image.get(), std::min(total, size)); // the header may claim more
    if (!file.seekg(0).read(reinterpret_cast<char*>(image.get()), total)) {
        Trace::info([&] { return "ABN: Error loading db image from file " + path; });
        return false;
    }
    if (totalWrapped || !DBUtils::checkSumCheck(image.get(), length)) {
        Trace::info([] {
            return "ABN: Corrupted Data Base file. Calculated checksum does not match stored one.";
        });
        return false;
    }
    m_imageSize = length;
    m_image = std::move(image);
    return true;
}

bool DbContainer::loadProductionDb(const std::string& path)
{
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.isOpen())
        return false;

    DB_HeaderS header{};
    if (::read(fd.get(), &header, sizeof header) != sizeof header || !isDatabaseHeader(header)) {
        Trace::info([&] { return "ABN: Failed to read the header from " + path; });
        return false;
    }
    Trace::info([&] { return "Reading Production database from " + path; });

    std::unique_ptr<unsigned char[]> image(loadProductionDbBody(fd.get(), &header));
    if (!image)
        return false;
    if (!DBUtils::checkSumCheck(image.get(), header.length)) {
        Trace::info([] {
            return "ABN: Corrupted Production(calibration) Data Base. Calculated checksum does not "
                   "match stored one.";
        });
        return false;
    }
    m_imageSize = header.length;
    m_image = std::move(image);
    return true;
}

unsigned char* DbContainer::loadProductionDbBody(int fd, DB_HeaderS* header) const
{
    header->length = lengthOf(*header);
    const std::uint64_t total = std::uint64_t{header->length} + DBUtils::trailerSize;
    Trace::info([&] { return Trace::text("Size of Db: ", total); });

    std::unique_ptr<unsigned char[]> image(new (std::nothrow) unsigned char[total]);
    if (!image) {
        Trace::error([] { return "Couldn't allocate buffer memory to load DB"; });
        return nullptr;
    }
    preferHugePages(image.get(), total);
    // A pipe has no start to go back to: it may deliver the whole image after the header.
    static_cast<void>(::lseek(fd, 0, SEEK_SET));
    for (std::uint64_t done = 0; done < total;) {
        const ssize_t got = ::read(fd, image.get() + done, total - done);
        if (got < 0) {
            Trace::info(
                [&] { return Trace::text("ABN: Data Base read failed with error code ", got); });
            return nullptr;
        }
        // Nothing read is no end: a device may still be about to deliver what its header claims.
        done += static_cast<std::uint64_t>(got);
    }
    return image.release();
}

bool DbContainer::loadProductionDb()
{
    if (const char* const path = std::getenv("sys_uflash_prod_db_dev_dev")) {
        if (loadProductionDb(path))
            return true;
    }
    const char* const path = std::getenv("sys_uflash_prod_db_dev");
    if (path == nullptr) {
        Trace::info([] {
            return "ABN: Did not find environmental variable \"sys_uflash_prod_db_dev\", could not "
                   "read production DB";
        });
        return false;
    }
    return loadProductionDb(path);
}

std::span<const unsigned char> DbContainer::bytes() const noexcept
{
    return {m_image.get(), m_image ? m_imageSize + std::size_t{DBUtils::trailerSize} : 0};
}

std::optional<Contents> DbContainer::measure() const noexcept
{
    const auto image = bytes();
    Contents contents;
    for (std::uint32_t position = firstRecord; position < m_imageSize;) {
        const auto place = placeAt(image, position);
        if (!place)
            return std::nullopt;
        if (place->isParameter() && place->type() != TypeOfData_t::UNDEFINED) {
            if (place->size() > image.size() - position)
                return std::nullopt;
            ++contents.parameters;
            contents.keyBytes += place->keyLength;
        }
        position = positionAfter(*place, position, m_imageSize);
    }
    return contents;
}

DbContainer::iterator::iterator(DbContainer* container, std::uint32_t position) noexcept
    : m_container(container), m_position(position)
{
    if (m_position < container->m_imageSize)
        m_place = placeAt(container->bytes(), m_position);
}

DbContainer::iterator DbContainer::iterator::begin(DbContainer* container) noexcept
{
    // A length below that of the header leaves no room for a record.
    return {container, std::min(firstRecord, container->m_imageSize)};
}

DbContainer::iterator DbContainer::iterator::end(DbContainer* container) noexcept
{
    return {container, container->m_imageSize};
}

std::string_view DbContainer::iterator::key() const noexcept
{
    return m_place ? m_place->key() : std::string_view();
}

DbRecord& DbContainer::iterator::operator*() const
{
    DbRecord& record = m_container->m_record;
    if (!m_place)
        return record = DbRecord();
    record.length = m_place->length();
    if (m_place->isParameter()) {
        record.key = m_place->key();
        record.type = m_place->type();
        record.data = m_place->start + m_place->dataOffset();
    } else {
        record.key = m_place->key().substr(0, longestReportedKey);
        record.type = TypeOfData_t::UNDEFINED;
        record.data = nullptr;
    }
    return record;
}

DbContainer::iterator& DbContainer::iterator::operator++() noexcept
{
    const std::uint32_t end = m_container->m_imageSize;
    return *this = {m_container, m_place ? positionAfter(*m_place, m_position, end) : end};
}

} // namespace Varnix::Backend

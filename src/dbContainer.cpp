#include "dbContainer.h"

#include "dbUtils.h"
#include "fileDescriptor.h"
#include "trace.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <new>

#include <fcntl.h>

namespace Varnix::Backend {

namespace {

constexpr char recordTag = 'F';
constexpr std::uint32_t firstRecord = sizeof(DB_HeaderS);
constexpr std::size_t longestReportedKey = 128;

bool isDatabaseHeader(const DB_HeaderS& header) noexcept
{
    return header.magic == 'H' && header.format == 4;
}

/** The record word behind a key of `keyLength` characters: type in the high byte, then length. */
std::uint32_t recordWord(const char* key, std::size_t keyLength) noexcept
{
    std::uint32_t word = 0;
    std::memcpy(&word, key + keyLength + 1, sizeof word);
    DBUtils::SwapEnd(word);
    return word;
}

constexpr std::uint32_t dataLength(std::uint32_t word) noexcept
{
    return word & 0x00FFFFFFU;
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
    std::ifstream file(path, std::ios::binary | std::ios::ate);
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

DbContainer::iterator DbContainer::iterator::begin(DbContainer* container) noexcept
{
    // A length below that of the header leaves no room for a record.
    return {container, std::min(firstRecord, container->m_imageSize)};
}

DbContainer::iterator DbContainer::iterator::end(DbContainer* container) noexcept
{
    return {container, container->m_imageSize};
}

const char* DbContainer::iterator::key() const noexcept
{
    return reinterpret_cast<const char*>(m_container->m_image.get() + m_position + 1);
}

DbRecord& DbContainer::iterator::operator*() const
{
    const char* const key = this->key();
    const std::size_t keyLength = std::strlen(key);
    const std::uint32_t word = recordWord(key, keyLength);

    DbRecord& record = m_container->m_record;
    record.length = dataLength(word);
    if (key[0] == '/') {
        record.key.assign(key, keyLength);
        record.type = static_cast<TypeOfData_t>(word >> 24U);
        record.data = reinterpret_cast<const unsigned char*>(key + keyLength + 1 + sizeof word);
    } else {
        record.key.assign(key, std::min(keyLength, longestReportedKey));
        record.type = TypeOfData_t::UNDEFINED;
        record.data = nullptr;
    }
    return record;
}

DbContainer::iterator& DbContainer::iterator::operator++() noexcept
{
    const char* const key = this->key();
    const std::uint32_t end = m_container->m_imageSize;
    if (key[-1] != recordTag) {
        m_position = end;
        return *this;
    }
    const std::size_t keyLength = std::strlen(key);
    const auto step = static_cast<std::uint32_t>(keyLength + sizeof(std::uint32_t) + 2) +
                      dataLength(recordWord(key, keyLength));
    m_position = std::min(end, m_position + step);
    return *this;
}

} // namespace Varnix::Backend

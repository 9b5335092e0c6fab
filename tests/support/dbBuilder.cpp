#include "tests/support/dbBuilder.h"

#include "dbfile/bigEndian.h"
#include "dbfile/checksum.h"
#include "dbfile/decoder.h"
#include "dbfile/types.h"

#include <array>
#include <bit>
#include <fstream>
#include <iterator>
#include <utility>

namespace Varnix::Test {

namespace {

void overwrite(std::string& image, std::size_t offset, std::uint64_t value, std::size_t size)
{
    std::string bytes;
    DbFile::appendBigEndian(bytes, value, size);
    image.replace(offset, size, bytes);
}

} // namespace

DbBuilder& DbBuilder::u8(const std::string& key, const std::vector<std::int64_t>& values)
{
    return numbers("U8", key, values);
}

DbBuilder& DbBuilder::s8(const std::string& key, const std::vector<std::int64_t>& values)
{
    return numbers("S8", key, values);
}

DbBuilder& DbBuilder::u16(const std::string& key, const std::vector<std::int64_t>& values)
{
    return numbers("U16", key, values);
}

DbBuilder& DbBuilder::s16(const std::string& key, const std::vector<std::int64_t>& values)
{
    return numbers("S16", key, values);
}

DbBuilder& DbBuilder::u32(const std::string& key, const std::vector<std::int64_t>& values)
{
    return numbers("U32", key, values);
}

DbBuilder& DbBuilder::s32(const std::string& key, const std::vector<std::int64_t>& values)
{
    return numbers("S32", key, values);
}

DbBuilder& DbBuilder::text(const std::string& key, std::string_view value)
{
    return record({.key = key, .type = DbFile::charType, .data = std::string(value)});
}

DbBuilder& DbBuilder::record(DbFile::Record record)
{
    m_database.records.push_back(std::move(record));
    return *this;
}

DbBuilder& DbBuilder::tail(std::string bytes)
{
    m_database.tail = std::move(bytes);
    return *this;
}

DbBuilder& DbBuilder::reserved(std::string fourBytes)
{
    m_database.reserved = std::move(fourBytes);
    return *this;
}

DbBuilder& DbBuilder::unchecked(std::string twoBytes)
{
    m_database.unchecked = std::move(twoBytes);
    return *this;
}

DbBuilder& DbBuilder::extra(std::string bytes)
{
    m_database.extra = std::move(bytes);
    return *this;
}

std::string DbBuilder::image() const
{
    return DbFile::encode(m_database);
}

void DbBuilder::write(const std::filesystem::path& path) const
{
    writeFile(path, image());
}

DbBuilder& DbBuilder::numbers(std::string_view type, const std::string& key,
                              const std::vector<std::int64_t>& values)
{
    const DbFile::Type& named = *DbFile::findType(type);
    std::string data;
    for (const std::int64_t value : values)
        DbFile::appendElement(data, named, value);
    return record({.key = key, .type = named.number, .data = std::move(data)});
}

void writeFile(const std::filesystem::path& path, std::string_view content)
{
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
}

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void setLength(std::string& image, std::uint32_t length)
{
    overwrite(image, DbFile::Format::lengthOffset, length, 4);
}

std::string imageOf(std::uint32_t length, std::string_view bytes)
{
    namespace Format = DbFile::Format;
    std::string image{Format::magic, Format::version};
    image.resize(Format::headerSize);
    setLength(image, length);
    image += bytes;
    image.resize(length + Format::trailerSize);
    repairChecksum(image);
    return image;
}

std::string imageThatReachesOutside()
{
    return imageOf(40, std::string("F/a\0\2\0\0\1\1F/b\0\2\xFF\xFF\xFF", 17));
}

std::string imageThatOverlaps()
{
    return imageOf(20, std::string("F/b\0\x0A\0\0\x0E"
                                   "0123456789ABCD",
                                   22));
}

void forceChecksum(std::string& image, std::uint16_t wanted)
{
    const auto checksumWith = [&image](std::uint64_t reserved) {
        overwrite(image, DbFile::Format::reservedOffset, reserved, DbFile::Format::reservedSize);
        repairChecksum(image);
        return static_cast<unsigned>(DbFile::readBigEndian(
            image, image.size() - DbFile::Format::checksumSize, DbFile::Format::checksumSize));
    };
    // A bit of the input changes the same bits of the checksum, whatever the others are: of sixteen
    // such changes, reduced to one for each bit of the checksum, every checksum can be made.
    struct Change
    {
        unsigned sum = 0;
        unsigned reserved = 0;
    };
    constexpr unsigned bits = 16;
    std::array<Change, bits> changes{};
    const auto reduce = [&changes](Change change) {
        for (unsigned bit = bits; bit-- > 0;)
            if ((change.sum >> bit & 1U) != 0 && changes[bit].sum != 0)
                change = {change.sum ^ changes[bit].sum, change.reserved ^ changes[bit].reserved};
        return change;
    };
    const unsigned base = checksumWith(0);
    for (unsigned bit = 0; bit < bits; ++bit) {
        const Change change = reduce({base ^ checksumWith(1U << bit), 1U << bit});
        changes.at(std::bit_width(change.sum) - 1U) = change;
    }
    checksumWith(reduce({base ^ wanted, 0}).reserved);
}

void repairChecksum(std::string& image)
{
    if (image.size() < DbFile::Format::headerSize)
        return;
    const std::uint64_t covered =
        std::uint64_t{DbFile::lengthField(image)} + DbFile::Format::coveredTailSize;
    const std::uint64_t place = covered + DbFile::Format::uncheckedSize;
    if (image.size() < place + DbFile::Format::checksumSize || covered > UINT32_MAX)
        return;
    overwrite(image, place, DbFile::checksum(std::string_view(image).substr(0, covered)),
              DbFile::Format::checksumSize);
}

} // namespace Varnix::Test

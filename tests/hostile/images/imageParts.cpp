#include "imageParts.h"

#include "tests/support/dbBuilder.h"

namespace Varnix::Test::ImageParts {

std::string opening(const std::string& key, std::uint8_t type, std::size_t size, char tag)
{
    std::string bytes = tag + key + '\0' + static_cast<char>(type);
    for (const int shift : {16, 8, 0})
        bytes += static_cast<char>(size >> shift);
    return bytes;
}

std::string record(const std::string& key, std::uint8_t type, const std::string& data, char tag)
{
    return opening(key, type, data.size(), tag) + data;
}

std::string goodRecords()
{
    return record("/componentConfigId", text, "a_1 image") +
           record("/a", u16, std::string("\0\1\xFF\xFE", 4));
}

std::size_t behindGood()
{
    return headerSize + goodRecords().size();
}

std::string imageOfRecords(const std::string& records)
{
    return imageOfRecords(records, "");
}

std::string imageOfRecords(const std::string& records, const std::string& behind)
{
    return imageOf(static_cast<std::uint32_t>(headerSize + records.size()), records + behind);
}

std::string goodImage()
{
    return imageOfRecords(goodRecords());
}

std::string filler(std::size_t size)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i)
        bytes += static_cast<char>('a' + i % 26);
    return bytes;
}

void makeChecksumWithoutZero(std::string& image)
{
    repairChecksum(image);
    while (image.find('\0', image.size() - 2) != std::string::npos) {
        ++image[5];
        repairChecksum(image);
    }
}

std::string numbered(const std::string& name, std::uint64_t number)
{
    return name + (number < 10 ? "0" : "") + std::to_string(number);
}

} // namespace Varnix::Test::ImageParts

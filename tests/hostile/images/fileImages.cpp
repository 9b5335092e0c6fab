#include "imageParts.h"
#include "images.h"
#include "model.h"
#include "tests/support/dbBuilder.h"

#include <stdexcept>

namespace Varnix::Test {

using namespace ImageParts;
using namespace std::string_literals;

namespace {

std::string changed(std::string image, std::size_t offset, const std::string& bytes)
{
    image.replace(offset, bytes.size(), bytes);
    return image;
}

std::string withRightChecksum(std::string image)
{
    repairChecksum(image);
    return image;
}

std::string withLength(std::string image, std::uint32_t length)
{
    setLength(image, length);
    return withRightChecksum(image);
}

ImageFamily headers()
{
    ImageFamily family{"Headers", {}};
    const auto add = [&](const std::string& name, std::size_t offset, const std::string& bytes) {
        family.images.push_back({name, withRightChecksum(changed(goodImage(), offset, bytes))});
    };
    for (const char magic : {'\0', 'h', 'I', 'F', '\xC8'})
        add(numbered("FirstByte", static_cast<unsigned char>(magic)), 0, {magic});
    for (const char format : {'\0', '\3', '\5', '4', '\x84', '\xFF'})
        add(numbered("Format", static_cast<unsigned char>(format)), 1, {format});
    add("FirstByteAndFormatExchanged", 0, "\4H");
    for (std::size_t i = 2; i < 6; ++i)
        add(numbered("ReservedByte", i), i, "\xFF");
    family.images.push_back({"LengthOfTheOtherByteOrder", changed(goodImage(), 6, "\x37\0\0\0"s)});
    family.images.push_back({"HeaderTwice", goodImage().substr(0, 10) + goodImage()});
    for (std::size_t size = 0; size <= headerSize; ++size)
        family.images.push_back({numbered("CutAt", size), goodImage().substr(0, size)});
    return family;
}

/** The lengths with which N + 14 does not fit 32 bits, and what a reader that wraps would check. */
void addWrapped(ImageFamily& family)
{
    for (std::uint32_t length = 0xFFFFFFF2; length != 0; ++length) {
        family.images.push_back(
            {numbered("TotalWrapsTo", length + 14U), withLength(goodImage(), length)});
        const std::uint32_t covered = length + 10;
        const std::uint32_t place = covered + 2;
        if (length < 0xFFFFFFF6 || (place > 4 && place < 10))
            continue;
        std::string image = withLength(goodImage(), length);
        const std::uint16_t sum =
            covered == 0 ? std::uint16_t{0} : ImageModel::checksum({image.data(), covered});
        image[place] = static_cast<char>(sum >> 8U);
        image[place + 1] = static_cast<char>(sum);
        family.images.push_back({numbered("WrappedWithChecksumAt", place), image});
    }
}

ImageFamily lengths()
{
    ImageFamily family{"Lengths", {}};
    for (std::uint32_t length = 0; length < 10; ++length) {
        family.images.push_back({numbered("Short", length), imageOf(length, "F/a\0\2\0\0\1\7"s)});
        family.images.push_back(
            {numbered("ShortAndAllTags", length), imageOf(length, std::string(14, 'F'))});
    }
    for (std::uint32_t length = 10; length < 20; ++length)
        family.images.push_back(
            {numbered("RecordOf9BytesAndLength", length), imageOf(length, "F/a\0\2\0\0\1\7"s)});
    const auto rightLength = static_cast<std::uint32_t>(behindGood());
    for (const std::uint32_t length :
         {rightLength + 1, rightLength + 2, rightLength + 14, 0x100U, 0x10000U, 0x1000000U,
          0x7FFFFFF1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFF1U})
        family.images.push_back(
            {numbered("LongerThanTheFile", length), withLength(goodImage(), length)});
    for (const std::uint32_t less : {1U, 2U, 4U, 5U, 8U, 12U, 13U, 30U})
        family.images.push_back(
            {numbered("LessBy", less), withLength(goodImage(), rightLength - less)});
    addWrapped(family);
    return family;
}

ImageFamily sizes()
{
    ImageFamily family{"Sizes", {}};
    const std::string image = goodImage();
    // The last record and everything after it, byte by byte; before it where the parts meet.
    for (const std::size_t size : Sizes{11, 12, 29, 30, 31, 34, 42})
        family.images.push_back({numbered("CutAt", size), image.substr(0, size)});
    for (std::size_t size = behindGood() - 12; size < image.size(); ++size)
        family.images.push_back({numbered("CutAt", size), image.substr(0, size)});
    for (const std::size_t extra : Sizes{1, 2, 4, 10, 14, 5000})
        family.images.push_back({numbered("ExtraBytes", extra), image + filler(extra)});
    family.images.push_back({"AnotherImageBehind", image + image});
    // What follows the checksum is no part of the image, although it is there.
    for (const std::size_t extra : Sizes{1, 2, 100})
        family.images.push_back(
            {numbered("DataIntoExtraBytes", extra),
             imageOfRecords(goodRecords() + opening("/b", u8, trailerSize + extra)) +
                 filler(extra)});
    std::string keyIntoExtra = imageOfRecords(goodRecords() + "F/", filler(12));
    makeChecksumWithoutZero(keyIntoExtra);
    family.images.push_back({"KeyIntoExtraBytes", keyIntoExtra + "k\0\2\0\0\1\7"s});
    return family;
}

std::string withChecksum(std::string image, std::uint16_t sum)
{
    image[image.size() - 2] = static_cast<char>(sum >> 8U);
    image.back() = static_cast<char>(sum);
    return image;
}

/** An image whose checksum is the one that another is written for. */
std::string imageOfTheException()
{
    std::string image = goodImage();
    forceChecksum(image, 0xFFFF);
    if (ImageModel::crc(std::string_view(image).substr(0, image.size() - 4)) != 0xFFFF)
        throw std::logic_error("this is not the exception");
    return image;
}

ImageFamily checksums()
{
    const std::string image = goodImage();
    const std::size_t length = behindGood();
    const std::uint16_t right =
        ImageModel::checksum(std::string_view(image).substr(0, length + 10));
    ImageFamily family{"Checksums", {}};
    const auto add = [&](const std::string& name, const std::string& bytes) {
        family.images.push_back({name, bytes});
    };
    for (unsigned bit = 0; bit < 16; ++bit)
        add(numbered("OtherBit", bit),
            withChecksum(image, static_cast<std::uint16_t>(right ^ (1U << bit))));
    add("Zero", withChecksum(image, 0));
    add("AllOnes", withChecksum(image, 0xFFFF));
    add("Substitute", withChecksum(image, 0x1111));
    add("OtherByteOrder",
        withChecksum(image, static_cast<std::uint16_t>(right >> 8U | right << 8U)));
    add("Complement", withChecksum(image, static_cast<std::uint16_t>(~right)));
    for (const std::size_t covered : {length, length + 9, length + 11, length + 12})
        add(numbered("OfBytes", covered),
            withChecksum(image, ImageModel::checksum(std::string_view(image).substr(0, covered))));
    for (const std::size_t offset :
         {std::size_t{2}, std::size_t{12}, length - 1, length, length + 9})
        add(numbered("OtherByteAt", offset), changed(image, offset, "\x5A"));
    for (const std::size_t offset : {length + 10, length + 11})
        add(numbered("UncheckedByteAt", offset), changed(image, offset, "\x5A"));
    add("ExceptionWithItsSubstitute", withChecksum(imageOfTheException(), 0x1111));
    add("ExceptionWithoutIt", withChecksum(imageOfTheException(), 0xFFFF));
    return family;
}

} // namespace

std::vector<ImageFamily> fileFamilies()
{
    return {headers(), lengths(), sizes(), checksums()};
}

} // namespace Varnix::Test

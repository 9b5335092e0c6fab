#include "dbfile/database.h"

#include "dbfile/decoder.h"
#include "dbfile/finding.h"
#include "dbfile/types.h"
#include "tests/support/dbBuilder.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace Varnix::DbFile {
namespace {

using namespace std::string_literals;
using Test::DbBuilder;
using Test::imageOf;
using Test::imageThatOverlaps;
using Test::repairChecksum;
using Test::setLength;

TEST(Writer, WritesTheDocumentedBytes)
{
    const std::string image = DbBuilder().u16("/a", {1, 0xFFFE}).image();
    EXPECT_EQ(image.substr(0, 10), "H\x04\0\0\0\0\0\0\0\x16"s);
    EXPECT_EQ(image.substr(10, 12), "F/a\0\x04\0\0\x04\0\x01\xFF\xFE"s);
    EXPECT_EQ(image.substr(22, 12), std::string(12, '\0'));
    EXPECT_EQ(image.size(), 22 + 14);
}

TEST(Writer, WritesASignedElementAsTwosComplement)
{
    const std::string image = DbBuilder().s32("/a", {-2}).image();
    EXPECT_EQ(image.substr(10, 12), "F/a\0\x07\0\0\x04\xFF\xFF\xFF\xFE"s);
}

TEST(Writer, WritesTextWithoutATerminator)
{
    const std::string image = DbBuilder().text("/a", "x").image();
    EXPECT_EQ(image.substr(10, 9), "F/a\0\x0A\0\0\x01x"s);
}

TEST(Writer, WritesTheSameBytesForTheSameValue)
{
    EXPECT_EQ(DbBuilder().u8("/a", {1}).image(), DbBuilder().u8("/a", {1}).image());
}

/** What the writer says against a database. */
std::string refusal(const DbBuilder& builder)
{
    try {
        return "written: " + hexBytes(builder.image());
    } catch (const std::length_error& error) {
        return error.what();
    }
}

TEST(Writer, RefusesAKeyWithANul)
{
    EXPECT_EQ(refusal(DbBuilder().u8("/a\0b"s, {1})), "a key holds a NUL");
}

TEST(Writer, TakesTheLongestDataAndRefusesOneByteMore)
{
    DbBuilder longest;
    longest.text("/a", std::string(Format::maxDataLength, 'x'));
    EXPECT_EQ(decode(longest.image()), longest.database());

    DbBuilder longer;
    longer.text("/a", std::string(Format::maxDataLength + 1, 'x'));
    EXPECT_EQ(refusal(longer), "a record's data is too long");
}

TEST(Writer, RefusesFixedPartsOfAnotherSize)
{
    EXPECT_EQ(refusal(DbBuilder().reserved("abc")), "the reserved bytes are not four");
    EXPECT_EQ(refusal(DbBuilder().unchecked("abc")), "the unchecked bytes are not two");
}

TEST(Decoder, GivesTheValueThatWasWritten)
{
    const DbBuilder builder = DbBuilder()
                                  .reserved("abcd")
                                  .u8("/a", {1})
                                  .record({.key = "no slash", .type = 200, .data = "xyz"})
                                  .tail("0123456789")
                                  .unchecked("ef")
                                  .extra("more");
    EXPECT_EQ(decode(builder.image()), builder.database());
}

TEST(Decoder, ReadsNothingBehindARecordOfAnotherTag)
{
    const DbBuilder builder =
        DbBuilder().record({.tag = 'G', .key = "/a", .type = 2}).u8("/b", {1});
    const Database database = decode(builder.image());
    ASSERT_EQ(database.records.size(), 1U);
    EXPECT_EQ(database.tail, "F/b\0\x02\0\0\x01\x01"s + std::string(10, '\0'));
}

std::string withLength(std::string image, std::uint32_t length)
{
    setLength(image, length);
    repairChecksum(image);
    return image;
}

TEST(Decoder, ReadsARecordThatReachesPastTheEndWhole)
{
    // The record takes the bytes 10 to 27; the walk ends at 20.
    const std::string image = DbBuilder().text("/a", "0123456789").image();
    const Database database = decode(withLength(image, 20));
    ASSERT_EQ(database.records.size(), 1U);
    EXPECT_EQ(database.records.front().data, "0123456789");
    EXPECT_EQ(database.tail.size(), 2U);
}

TEST(Decoder, LeavesARecordThatReachesPastTheCoveredBytesToTheTail)
{
    const std::string image = DbBuilder().text("/a", "0123456789").image();
    const Database database = decode(withLength(image, 17));
    EXPECT_TRUE(database.records.empty());
    EXPECT_EQ(database.tail, image.substr(10, 17));
}

TEST(Decoder, TakesARecordThatEndsWithTheCoveredBytesOnce)
{
    // The record takes the bytes 10 to 27, the covered ones end there too.
    const std::string image = withLength(DbBuilder().text("/a", "0123456789").image(), 18);
    EXPECT_EQ(decode(image).records.size(), 1U);
    EXPECT_EQ(readRecords(image).size(), 1U);
}

TEST(Decoder, GivesARecordThatReachesIntoTheChecksumBesideTheValue)
{
    const std::string image = imageThatOverlaps();
    EXPECT_EQ(overlap(image), (Record{.key = "/b", .type = charType, .data = "0123456789ABCD"}));
    EXPECT_EQ(readRecords(image), std::vector<Record>{*overlap(image)});
    EXPECT_TRUE(decode(image).records.empty());
    EXPECT_EQ(encode(decode(image)), image);
    EXPECT_EQ(overlap(DbBuilder().u8("/a", {1}).image()), std::nullopt);
}

TEST(Decoder, RefusesOnlyWhatAStoreWouldKeepOfDataThatIsNotThere)
{
    const std::size_t end = 40 + Format::trailerSize;
    for (const std::size_t reach : {std::size_t{0}, std::size_t{1}, std::size_t{0xFF0000}}) {
        const auto size = static_cast<char>(end - 18 + reach % 256);
        const std::string word{static_cast<char>(reach >> 16), '\0', size};
        EXPECT_EQ(refusals(imageOf(40, "F/a\0\2"s + word)).size(), reach == 0 ? 0 : 1);
        EXPECT_TRUE(refusals(imageOf(40, "F/a\0\0"s + word)).empty());
        EXPECT_TRUE(refusals(imageOf(40, "Fab\0\2"s + word)).empty());
    }
}

TEST(Decoder, ReadsNoRecordsWhereTheLengthIsLessThanTheHeader)
{
    EXPECT_TRUE(decode(withLength(DbBuilder().u8("/a", {1}).image(), 9)).records.empty());
}

TEST(PlainKey, IsASlashAndPrintableCharacters)
{
    for (const char* key : {"/a", "//", "/unit/gain", "/~!", "/\\"})
        EXPECT_TRUE(isPlainKey(key)) << key;
    for (const char* key : {"", "/", "a", "a/b", "/a b", "/a\t", "/a\"", "/a#", "/a\x7F", "/\xC3"})
        EXPECT_FALSE(isPlainKey(key)) << key;
}

} // namespace
} // namespace Varnix::DbFile

#include "dbfile/checker.h"

#include "dbfile/bigEndian.h"
#include "tests/support/dbBuilder.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::DbFile {
namespace {

using namespace std::string_literals;
using Test::DbBuilder;
using Test::repairChecksum;
using Test::setLength;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> texts(const std::vector<Finding>& findings)
{
    std::vector<std::string> result;
    for (const Finding& finding : findings)
        result.push_back(describe("f", finding));
    return result;
}

std::vector<std::string> findingsIn(const std::string& image)
{
    return texts(check(image).findings);
}

/** "/a" from 10 to 18, "/b" from 19 to 27. */
DbBuilder twoRecords()
{
    return DbBuilder().u8("/a", {1}).u8("/b", {2});
}

std::string changed(std::string image, std::size_t offset, char byte)
{
    image.at(offset) = byte;
    return image;
}

std::string repaired(std::string image)
{
    repairChecksum(image);
    return image;
}

std::string withLength(std::string image, std::uint32_t length)
{
    setLength(image, length);
    return repaired(std::move(image));
}

TEST(Checker, FindsNothingInAnOrdinaryFile)
{
    const DbBuilder ordinary = DbBuilder()
                                   .u8("/u8", {255})
                                   .s8("/s8", {-1})
                                   .u16("/u16", {1, 2})
                                   .s16("/s16", {-1})
                                   .u32("/u32", {1, 2, 3})
                                   .s32("/s32", {-1})
                                   .text("/text", "any\0bytes\xFF"s);
    EXPECT_THAT(findingsIn(ordinary.image()), IsEmpty());
    EXPECT_THAT(check(ordinary.image()).warnings, IsEmpty());
    EXPECT_THAT(check(ordinary.image()).notes, IsEmpty());
    EXPECT_THAT(findingsIn(DbBuilder().image()), IsEmpty());
}

struct BadFile
{
    const char* name;
    std::string image;
    std::string finding;
};

void PrintTo(const BadFile& file, std::ostream* out)
{
    *out << hexBytes(file.image);
}

class BadFiles : public testing::TestWithParam<BadFile>
{
};

TEST_P(BadFiles, HaveTheirOneFinding)
{
    EXPECT_THAT(findingsIn(GetParam().image), ElementsAre(HasSubstr(GetParam().finding)));
}

INSTANTIATE_TEST_SUITE_P(
    Checker, BadFiles,
    testing::Values(
        BadFile{
            "NoBytes", "",
            "f:@0x0: error: the file ends inside its header: it holds 0 bytes, a header takes 10"},
        BadFile{
            "HeaderCutShort", DbBuilder().image().substr(0, 9),
            "f:@0x9: error: the file ends inside its header: it holds 9 bytes, a header takes 10"},
        BadFile{"OtherMagic", changed(twoRecords().image(), 0, 'h'),
                "f:@0x0: error: not a database file: the first byte is 0x68, not 0x48"},
        BadFile{"OtherFormat", changed(twoRecords().image(), 1, 5),
                "f:@0x1: error: unknown format: the byte is 0x5, not 0x4"},
        BadFile{"HeaderOnly", DbBuilder().image().substr(0, 10),
                "f:@0xa: error: the file ends early: it holds 10 bytes, its header says 24"},
        BadFile{"CutShort", twoRecords().image().substr(0, 41),
                "f:@0x29: error: the file ends early: it holds 41 bytes, its header says 42"},
        BadFile{"CutShortInsideARecord", twoRecords().image().substr(0, 20),
                "f:@0x14: error: the file ends early"},
        BadFile{"BytesBehindTheChecksum", twoRecords().extra("abc").image(),
                "f:@0x2a: error: 3 bytes follow the checksum"},
        BadFile{"ValueChanged", changed(twoRecords().image(), 18, 7),
                "f:@0x28: error: the checksum does not match"},
        BadFile{"CoveredTailChanged", changed(twoRecords().image(), 28, 7),
                "f:@0x28: error: the checksum does not match"},
        BadFile{"ForeignTag", repaired(changed(twoRecords().image(), 10, 'G')),
                "f:@0xa: error: the record's tag is 0x47, not 0x46: nothing after it is read"},
        BadFile{"KeyWithoutSlash", DbBuilder().u8("ab", {1}).image(),
                "f:@0xb: error: the key \"ab\" does not begin with \"/\""},
        BadFile{"EmptyKey", DbBuilder().u8("", {1}).image(),
                "f:@0xb: error: the key \"\" does not begin with \"/\""},
        BadFile{"KeyOfASlash", DbBuilder().u8("/", {1}).image(),
                "f:@0xb: error: the key is only \"/\""},
        BadFile{"KeyWithABlank", DbBuilder().u8("/a b", {1}).image(),
                "f:@0xb: error: the key \"/a b\" holds a blank, a quote, a number sign or an "
                "unprintable byte"},
        BadFile{"KeyWithAnUnprintableByte", DbBuilder().u8("/\x01", {1}).image(),
                "f:@0xb: error: the key \"/\\x01\" holds a blank"},
        BadFile{"KeyWithoutEnd", DbBuilder().tail("F/abc" + std::string(20, 'x')).image(),
                "f:@0xa: error: a record's key, type and length do not end before 0x27, where the "
                "checksum ends"},
        BadFile{"DataBehindTheChecksum",
                DbBuilder().tail("F/a\0\2\xFF\xFF\xFF"s + std::string(10, '\0')).image(),
                "f:@0xa: error: a record of 16777223 bytes does not end before 0x20, where the "
                "checksum ends"},
        BadFile{"WordBehindTheRecords",
                DbBuilder().tail("F/abcdefgh"s + std::string(10, '\0')).image(),
                "f:@0xa: error: a record's key, type and length do not end before 0x14"},
        BadFile{"KeyThatEndsBehindTheEnd", withLength(twoRecords().image().substr(0, 27), 13),
                "f:@0xa: error: a record's key, type and length do not end before 0xd"},
        BadFile{"KeyTwice", DbBuilder().u8("/a", {1}).u8("/a", {2}).image(),
                "f:@0x14: error: the key \"/a\" occurs twice; first at @0xb"},
        BadFile{"UndefinedType", DbBuilder().record({.key = "/a", .type = 0}).image(),
                "f:@0xe: error: type 0 has no name"},
        BadFile{"UnnamedType", DbBuilder().record({.key = "/a", .type = 9}).image(),
                "f:@0xe: error: type 9 has no name"},
        BadFile{"HighType", DbBuilder().record({.key = "/a", .type = 255}).image(),
                "f:@0xe: error: type 255 has no name"},
        BadFile{"HalfAnElement",
                DbBuilder().record({.key = "/a", .type = 6, .data = "12345"}).image(),
                "f:@0xf: error: 5 bytes are no whole number of U32 elements"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Checker, SaysTheChecksumOfTheFileAndThatOfItsBytes)
{
    const std::string image = twoRecords().image();
    const auto sum = static_cast<std::uint16_t>(readBigEndian(image, 40, 2));
    EXPECT_THAT(findingsIn(changed(image, 41, static_cast<char>(image[41] ^ 1))),
                ElementsAre("f:@0x28: error: the checksum does not match: the file says " +
                            hexNumber(sum ^ 1U) + ", its bytes give " + hexNumber(sum)));
}

TEST(Checker, ReportsARecordThatDoesNotEndBeforeTheRecordsDo)
{
    const std::string image = withLength(twoRecords().image(), 27);
    EXPECT_THAT(findingsIn(image),
                ElementsAre("f:@0x13: error: a record of 9 bytes does not end before 0x1b, where "
                            "the records end",
                            "f:@0x29: error: 1 bytes follow the checksum"));
}

TEST(Checker, ReportsALengthBelowTheHeader)
{
    EXPECT_THAT(
        findingsIn(withLength(std::string("H\x04\0\0\0\0\0\0\0\0", 10) + std::string(13, '\0'), 9)),
        ElementsAre(HasSubstr("f:@0x6: error: the length 9 is less than the header takes")));
}

TEST(Checker, ReportsALengthThatNoLoaderCanAdd)
{
    EXPECT_THAT(findingsIn(withLength(twoRecords().image(), 0xFFFFFFFF)),
                ElementsAre("f:@0x6: error: the length 4294967295 is more than a file can have"));
}

TEST(Checker, KnowsTheLargestLengthOfEachLoader)
{
    const std::string image = twoRecords().image();
    const auto early = HasSubstr("the file ends early");
    EXPECT_THAT(findingsIn(withLength(image, 0xFFFFFFFF - 14)), ElementsAre(early));
    EXPECT_THAT(findingsIn(withLength(image, 0xFFFFFFFF - 10)),
                ElementsAre(HasSubstr("more than the loader of software databases"), early));
    EXPECT_THAT(findingsIn(withLength(image, 0xFFFFFFFF - 9)),
                ElementsAre(HasSubstr("more than a file can have")));
}

TEST(Checker, ReportsALengthThatOnlyTheSoftwareLoaderCannotAdd)
{
    EXPECT_THAT(findingsIn(withLength(twoRecords().image(), 0xFFFFFFFF - 13)),
                ElementsAre(HasSubstr("f:@0x6: error: the length 4294967282 is more than the "
                                      "loader of software databases can take"),
                            HasSubstr("f:@0x2a: error: the file ends early")));
}

TEST(Checker, NamesEverythingThatIsWrong)
{
    const DbBuilder builder = DbBuilder()
                                  .record({.key = "ab", .type = 1, .data = "x"})
                                  .record({.key = "/b", .type = 4, .data = "x"})
                                  .record({.key = "/b", .type = 2, .data = "x"})
                                  .extra("x");
    EXPECT_THAT(findingsIn(changed(builder.image(), 2, 1)),
                ElementsAre(HasSubstr("f:@0xb: error: the key \"ab\""),
                            HasSubstr("f:@0xe: error: type 1"),
                            HasSubstr("f:@0x18: error: 1 bytes are no whole"),
                            HasSubstr("f:@0x1d: error: the key \"/b\" occurs twice"),
                            HasSubstr("f:@0x31: error: the checksum"),
                            HasSubstr("f:@0x33: error: 1 bytes follow")));
}

TEST(Checker, FindingsAtOnePlaceKeepTheirOrder)
{
    EXPECT_THAT(findingsIn(DbBuilder().u8("a", {}).u8("a", {}).image()),
                ElementsAre("f:@0xb: error: the key \"a\" does not begin with \"/\"",
                            "f:@0x12: error: the key \"a\" does not begin with \"/\"",
                            "f:@0x12: error: the key \"a\" occurs twice; first at @0xb"));
}

TEST(Checker, ChecksOnBehindOneForeignTagButNotBehindTwo)
{
    std::string image = DbBuilder().u8("/a", {}).u8("b", {}).u8("c", {}).u8("d", {}).image();
    image[10] = 'G';
    EXPECT_THAT(findingsIn(repaired(image)),
                ElementsAre(HasSubstr("f:@0xa: error: the record's tag"),
                            HasSubstr("the key \"b\""), HasSubstr("the key \"c\""),
                            HasSubstr("the key \"d\"")));
    image[25] = 'G';
    EXPECT_THAT(findingsIn(repaired(image)),
                ElementsAre(HasSubstr("f:@0xa: error: the record's tag"),
                            HasSubstr("the key \"b\""),
                            HasSubstr("f:@0x19: error: the record's tag")));
}

TEST(Checker, WarnsOfKeysThatNoRecordGivesAByte)
{
    const CheckResult result =
        check(DbBuilder().u16("/b", {}).u8("/full", {1}).text("/a", "").image());
    EXPECT_THAT(result.findings, IsEmpty());
    EXPECT_THAT(texts(result.warnings),
                ElementsAre("f:@0xb: error: the key \"/b\" has no value: unless another file gives "
                            "it one, every read is a type mismatch",
                            HasSubstr("f:@0x1f: error: the key \"/a\" has no value")));
}

TEST(Checker, DoesNotWarnOfAnEmptyRecordBesideOneWithAValue)
{
    EXPECT_THAT(check(DbBuilder().u8("/a", {}).u8("/a", {1}).image()).warnings, IsEmpty());
    EXPECT_THAT(check(DbBuilder().u8("/a", {1}).u8("/a", {}).image()).warnings, IsEmpty());
}

TEST(Checker, DoesNotWarnOfEmptyRecordsThatNoReaderTakes)
{
    EXPECT_THAT(check(DbBuilder().u8("a", {}).record({.key = "/a", .type = 0}).image()).warnings,
                IsEmpty());
}

TEST(Checker, OnlyNotesBytesThatNobodyInterprets)
{
    const std::string image = DbBuilder()
                                  .reserved("\0\0\0\x01"s)
                                  .tail("\0\0\0\0\0\0\0\0\0\x02"s)
                                  .unchecked("\x03\0"s)
                                  .image();
    const CheckResult result = check(image);
    EXPECT_THAT(result.findings, IsEmpty());
    EXPECT_THAT(texts(result.notes),
                ElementsAre("f:@0x2: error: the reserved bytes are not zero: 00 00 00 01",
                            "f:@0xa: error: the bytes after the records are not zero: 00 00 00 "
                            "00 00 00 00 00 00 02",
                            "f:@0x14: error: the bytes before the checksum are not zero: 03 00"));
}

std::string sample()
{
    return DbBuilder()
        .text("/componentConfigId", "board-x_R2B unit_1")
        .u16("/unit/gain", {17, 31, 65535})
        .s32("/unit/offset", {-40})
        .u8("/unit/empty", {})
        .image();
}

TEST(Checker, FindsEveryChangeOfOneByteThatTheChecksumCovers)
{
    const std::string image = sample();
    const std::size_t unchecked = image.size() - 4;
    for (std::size_t offset = 0; offset < image.size(); ++offset) {
        if (offset == unchecked || offset == unchecked + 1)
            continue;
        for (int byte = 0; byte < 256; ++byte) {
            const std::string damaged = changed(image, offset, static_cast<char>(byte));
            ASSERT_NE(damaged == image, !check(damaged).findings.empty()) << offset << " " << byte;
        }
    }
}

TEST(Checker, FindsEveryTruncation)
{
    const std::string image = sample();
    for (std::size_t size = 0; size < image.size(); ++size)
        ASSERT_FALSE(check(image.substr(0, size)).findings.empty()) << size;
}

} // namespace
} // namespace Varnix::DbFile

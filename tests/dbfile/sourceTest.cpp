#include "dbfile/sourceParser.h"
#include "dbfile/sourcePrinter.h"
#include "tests/support/badLine.h"
#include "tests/support/dbBuilder.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::DbFile {
namespace {

using namespace std::string_literals;
using Test::BadLine;
using Test::DbBuilder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> errorsOf(const SourceParser& parser)
{
    std::vector<std::string> texts;
    for (const SourceFinding& error : parser.errors())
        texts.push_back(describe(error));
    return texts;
}

Database parsed(std::string_view text)
{
    SourceParser parser;
    parser.parse("in", text);
    EXPECT_THAT(errorsOf(parser), IsEmpty()) << text;
    return parser.database();
}

std::vector<std::string> errorsIn(std::string_view text)
{
    SourceParser parser;
    parser.parse("in", text);
    return errorsOf(parser);
}

struct GoodLine
{
    const char* name;
    std::string line;
    DbBuilder expected;
};

void PrintTo(const GoodLine& line, std::ostream* out)
{
    *out << line.line;
}

class GoodLines : public testing::TestWithParam<GoodLine>
{
};

TEST_P(GoodLines, AreUnderstood)
{
    EXPECT_EQ(parsed(GetParam().line), GetParam().expected.database());
}

INSTANTIATE_TEST_SUITE_P(
    Source, GoodLines,
    testing::Values(
        GoodLine{"Nothing", "", DbBuilder()}, GoodLine{"Blank", " \t \n\n", DbBuilder()},
        GoodLine{"Comment", "# /a U8 1\n  # b", DbBuilder()},
        GoodLine{"CommentBehindAValue", "/a U8 1# one", DbBuilder().u8("/a", {1})},
        GoodLine{"NumberSignInText", "/a CHAR \"#\" # comment", DbBuilder().text("/a", "#")},
        GoodLine{"NoLineEndAtTheEnd", "/a U8 1", DbBuilder().u8("/a", {1})},
        GoodLine{"CarriageReturnBeforeTheLineEnd", "/a U8 1\r\n", DbBuilder().u8("/a", {1})},
        GoodLine{"TabsBetweenWords", "\t/a\tU8\t1\t2", DbBuilder().u8("/a", {1, 2})},
        GoodLine{"Hexadecimal", "/a U16 0x1f 0X1F", DbBuilder().u16("/a", {31, 31})},
        GoodLine{"NegativeHexadecimal", "/a S16 -0x8000", DbBuilder().s16("/a", {-32768})},
        GoodLine{"LeadingZerosAreDecimal", "/a U8 010", DbBuilder().u8("/a", {10})},
        GoodLine{"BoundsOfU8", "/a U8 0 255", DbBuilder().u8("/a", {0, 255})},
        GoodLine{"BoundsOfS8", "/a S8 -128 127", DbBuilder().s8("/a", {-128, 127})},
        GoodLine{"BoundsOfU16", "/a U16 0 65535", DbBuilder().u16("/a", {0, 65535})},
        GoodLine{"BoundsOfS16", "/a S16 -32768 32767", DbBuilder().s16("/a", {-32768, 32767})},
        GoodLine{"BoundsOfU32", "/a U32 0 4294967295", DbBuilder().u32("/a", {0, 4294967295})},
        GoodLine{"BoundsOfS32", "/a S32 -2147483648 2147483647",
                 DbBuilder().s32("/a", {-2147483648, 2147483647})},
        GoodLine{"NoValues", "/a U8", DbBuilder().u8("/a", {})},
        GoodLine{"NoText", "/a CHAR", DbBuilder().text("/a", "")},
        GoodLine{"EmptyText", "/a CHAR \"\"", DbBuilder().text("/a", "")},
        GoodLine{"Escapes", R"(/a CHAR "\"\\\n\t\x00\xFf")",
                 DbBuilder().text("/a", "\"\\\n\t\0\xFF"s)},
        GoodLine{"OtherBytesInText", "/a CHAR \"\xC3\xA9\"", DbBuilder().text("/a", "\xC3\xA9")},
        GoodLine{"TypeByNumber", "/a 9 \"xyz\"",
                 DbBuilder().record({.key = "/a", .type = 9, .data = "xyz"})},
        GoodLine{"ValueThatIsNotWhole", "/a 4 \"xyz\"",
                 DbBuilder().record({.key = "/a", .type = 4, .data = "xyz"})},
        GoodLine{"TypeByNumberWithoutValue", "/a 0xFF",
                 DbBuilder().record({.key = "/a", .type = 255})},
        GoodLine{"Record", R"(#! record 47 "a b" U16 1)",
                 DbBuilder().record({.tag = 'G', .key = "a b", .type = 4, .data = "\0\x01"s})},
        GoodLine{"RecordOfAKeyThatStandsTwice", "/a U8 1\n#! record 46 \"/a\" U8 2",
                 DbBuilder().u8("/a", {1}).u8("/a", {2})},
        GoodLine{"Reserved", "#! reserved 00 01 fe FF", DbBuilder().reserved("\0\x01\xFE\xFF"s)},
        GoodLine{"TailOfSeveralLines", "#! tail 01 02\n/a U8 1\n#! tail 03",
                 DbBuilder().u8("/a", {1}).tail("\x01\x02\x03")},
        GoodLine{"TailOfNothing", "#! tail", DbBuilder().tail("")},
        GoodLine{"Unchecked", "#! unchecked 61 62 # comment", DbBuilder().unchecked("ab")},
        GoodLine{"Extra", "  #!extra 61\n#! extra 62", DbBuilder().extra("ab")}),
    [](const auto& test) { return std::string(test.param.name); });

class BadLines : public testing::TestWithParam<BadLine>
{
};

TEST_P(BadLines, AreReportedWhereTheyAreWrong)
{
    EXPECT_THAT(errorsIn(GetParam().text), ElementsAre(HasSubstr(GetParam().error)));
}

INSTANTIATE_TEST_SUITE_P(
    Source, BadLines,
    testing::Values(
        BadLine{"KeyWithoutSlash", "a U8 1", "in:1:1: error: a key is"},
        BadLine{"KeyOfASlash", " / U8 1", "in:1:2: error: a key is"},
        BadLine{"QuotedKey", "\"/a\" U8 1", "in:1:1: error: a key is"},
        BadLine{"NoType", "/abc ", "in:1:5: error: the type is missing"},
        BadLine{"UnknownType", "/a U64 1", "in:1:4: error: unknown type \"U64\""},
        BadLine{"LowerCaseType", "/a u8 1", "in:1:4: error: unknown type \"u8\""},
        BadLine{"TypeNumberTooLarge", "/a 256 \"x\"", "in:1:4: error: unknown type \"256\""},
        BadLine{"NegativeTypeNumber", "/a -1", "in:1:4: error: unknown type \"-1\""},
        BadLine{"AboveTheRange", "/a U8 1 256", "in:1:9: error: 256 is out of range"},
        BadLine{"BelowTheRange", "/a U8 -1", "in:1:7: error: -1 is out of range"},
        BadLine{"BelowTheSignedRange", "/a S8 -129", "in:1:7: error: -129 is out of range"},
        BadLine{"FarOutOfRange", "/a U32 99999999999999999999", "in:1:8: error: 9999999999"},
        BadLine{"FarBelowTheRange", "/a S32 -99999999999999999999", "in:1:8: error: -999999999"},
        BadLine{"LargestOf64Bits", "/a U32 18446744073709551615", "in:1:8: error: 184467440737"},
        BadLine{"LargestOf64BitsNegated", "/a S32 -18446744073709551615", "in:1:8: error: -1844"},
        BadLine{"NotANumber", "/a U8 1x", "in:1:7: error: \"1x\" is not a"},
        BadLine{"SignOnly", "/a S8 -", "in:1:7: error: \"-\" is not a"},
        BadLine{"HexPrefixOnly", "/a U8 0x", "in:1:7: error: \"0x\" is not a"},
        BadLine{"PlusSign", "/a U8 +1", "in:1:7: error: \"+1\" is not a"},
        BadLine{"Fraction", "/a U8 1.0", "in:1:7: error: \"1.0\" is not a"},
        BadLine{"TextForANumber", "/a U8 \"1\"", "in:1:7: error: a value of U8 is a number"},
        BadLine{"NumberForAText", "/a CHAR 1", "in:1:9: error: a value of CHAR belongs between"},
        BadLine{"TwoTexts", "/a CHAR \"a\" \"b\"", "in:1:13: error: CHAR takes one value"},
        BadLine{"NumbersForATypeNumber", "/a 4 1", "in:1:6: error: a value of a type's number"},
        BadLine{"OpenText", "/a CHAR \"abc", "in:1:9: error: the double quote is not closed"},
        BadLine{"OpenTextBehindAnEscape", "/a CHAR \"abc\\\"", "in:1:9: error: the double quote"},
        BadLine{"UnknownEscape", "/a CHAR \"a\\r\"", "in:1:11: error: unknown escape"},
        BadLine{"OneHexDigit", "/a CHAR \"\\x1\"", "in:1:10: error: unknown escape"},
        BadLine{"BackslashAtTheEnd", "/a CHAR \"\\", "in:1:10: error: unknown escape"},
        BadLine{"TabInText", "/a CHAR \"a\tb\"", "in:1:11: error: a tab"},
        BadLine{"TextAgainstAWord", "/a CHAR \"a\"b", "in:1:12: error: a blank is missing"},
        BadLine{"WordAgainstAText", "/a CHAR x\"a\"", "in:1:10: error: a blank is missing"},
        BadLine{"OtherBytesInAWord", "/\xC3\xA9 U8", "in:1:2: error: byte 0xc3"},
        BadLine{"SecondLine", "/a U8 1\n\n/b", "in:3:3: error: the type is missing"},
        BadLine{"KeyTwice", "/a U8 1\n /a U8 2",
                "in:2:2: error: /a is given twice; first at in:1:1"},
        BadLine{"NulByteFirst", "\0"s, "in:1:1: error: not a text source: byte 0x0"},
        BadLine{"NulByte", "# x\n/a U8 1\0"s, "in:2:8: error: not a text source: byte 0x0"},
        BadLine{"ControlByteInAComment", "# \x01", "in:1:3: error: not a text source: byte 0x1"},
        BadLine{"CarriageReturnAlone", "/a U8\r1", "in:1:6: error: not a text source: byte 0xd"},
        BadLine{"CarriageReturnAtTheEnd", "/a U8 1\r",
                "in:1:8: error: not a text source: byte 0xd"},
        BadLine{"NoDirective", " #!", "in:1:2: error: unknown directive"},
        BadLine{"UnknownDirective", "#! tale 00", "in:1:4: error: unknown directive"},
        BadLine{"ReservedTooShort", "#! reserved 00 00 00",
                "in:1:4: error: reserved takes 4 bytes"},
        BadLine{"ReservedTwice", "#! reserved 00 00 00 01\n#! reserved 00 00 00 01",
                "in:2:4: error: reserved is given twice; first at in:1:4"},
        BadLine{"UncheckedTooLong", "#! unchecked 00 00 00", "in:1:4: error: unchecked takes 2"},
        BadLine{"UncheckedTwice", "#! unchecked 00 01\n#! unchecked 00 01",
                "in:2:4: error: unchecked is given twice"},
        BadLine{"NoHexPair", "#! tail 00 1", "in:1:12: error: a byte is written as two hex"},
        BadLine{"NotHex", "#! extra 0g", "in:1:10: error: a byte is written as two hex"},
        BadLine{"QuotedHexPair", "#! extra \"00\"", "in:1:10: error: a byte is written as two hex"},
        BadLine{"ShortRecord", "#! record 46 \"/a\"", "in:1:18: error: a record takes"},
        BadLine{"RecordTagNotHex", "#! record F \"/a\" U8", "in:1:11: error: a byte is written"},
        BadLine{"RecordKeyUnquoted", "#! record 46 /a U8", "in:1:14: error: a record's key"},
        BadLine{"RecordKeyWithANul", "#! record 46 \"/\\x00\" U8",
                "in:1:14: error: a record's key"},
        BadLine{"ParameterBehindAnotherTag", "#! record 47 \"/a\" U8\n/b U8 1",
                "in:2:1: error: nothing is read after the record of another tag at in:1:4"}),
    Test::nameOf);

TEST(Source, ErrorSaysWhatIsWrongAndWhatWouldBeRight)
{
    for (const auto& [text, error] : {
             std::pair{"a", "a key is \"/\" and at least one character more, not quoted"},
             {"/a u8",
              "unknown type \"u8\"; there are U8 S8 U16 S16 U32 S32 CHAR and the numbers 0 to "
              "255"},
             {"/a U8 256", "256 is out of range: U8 holds 0 to 255"},
             {"/a S16 -32769", "-32769 is out of range: S16 holds -32768 to 32767"},
             {"/a U8 1x", "\"1x\" is not a decimal or 0x number"},
             {"/a CHAR 1", "a value of CHAR belongs between double quotes"},
             {"/a 4 1", "a value of a type's number belongs between double quotes"},
             {"/a CHAR \"a\" \"b\"", "CHAR takes one value between double quotes"},
             {"/a 4 \"a\" \"b\"", "a type's number takes one value between double quotes"},
             {"/a CHAR \"\\r\"",
              "unknown escape; there are \\\" \\\\ \\n \\t and \\x with two hex digits"},
             {"/a CHAR \"\t\"", "a tab inside double quotes is written \\t"},
             {"/a CHAR \"a\"b", "a blank is missing after the double quote"},
             {"/a CHAR x\"a\"", "a blank is missing before the double quote"},
             {"/\xC3", "byte 0xc3 is allowed only between double quotes"},
             {"#! tale",
              "unknown directive; there are record, reserved, tail, unchecked and extra"},
             {"#! reserved 00", "reserved takes 4 bytes, not 1"},
             {"#! unchecked 00 01 02", "unchecked takes 2 bytes, not 3"},
             {"#! tail 1", "a byte is written as two hex digits"},
             {"#! record 46 \"/a\"", "a record takes its tag, its key, its type and its value"},
             {"#! record 46 /a U8", "a record's key belongs between double quotes, without a NUL"},
         })
        EXPECT_THAT(errorsIn(text), ElementsAre(EndsWith(std::string("error: ") + error)));
}

TEST(Source, NamesEveryErrorOfASource)
{
    EXPECT_THAT(errorsIn("/a\n/b U8 1\nc U8 1\n"),
                ElementsAre(HasSubstr("in:1:3:"), HasSubstr("in:3:1:")));
}

TEST(Source, StopsAtTooManyErrors)
{
    std::string text;
    for (std::size_t i = 0; i < SourceParser::maxErrors + 5; ++i)
        text += "wrong\n";
    const std::vector<std::string> errors = errorsIn(text);
    ASSERT_THAT(errors, SizeIs(SourceParser::maxErrors + 1));
    EXPECT_EQ(errors.back(),
              "in:20:1: error: too many errors; the rest of the source was not read");
}

TEST(Source, EachSourceMayHaveSoManyErrors)
{
    SourceParser parser;
    parser.parse("one", "wrong\n");
    std::string text;
    for (std::size_t i = 0; i < SourceParser::maxErrors; ++i)
        text += "wrong\n";
    parser.parse("two", text);
    EXPECT_THAT(errorsOf(parser), SizeIs(1 + SourceParser::maxErrors + 1));
}

TEST(Source, KeyInTwoSourcesNamesBothPlaces)
{
    SourceParser parser;
    parser.parse("one", "/b U8 1\n/a U8 1");
    parser.parse("two", "/a U8 1");
    EXPECT_THAT(errorsOf(parser),
                ElementsAre("two:1:1: error: /a is given twice; first at one:2:1"));
}

TEST(Source, SeveralSourcesBecomeOneDatabaseInTheirOrder)
{
    SourceParser parser;
    parser.parse("one", "/b U8 1");
    parser.parse("two", "/a U8 2");
    EXPECT_EQ(parser.database(), DbBuilder().u8("/b", {1}).u8("/a", {2}).database());
}

TEST(Source, ValueOfTheLargestLengthIsTakenAndOneByteMoreIsAnError)
{
    const std::string longest(Format::maxDataLength, 'x');
    EXPECT_EQ(parsed("/a CHAR \"" + longest + "\"").records.front().data, longest);
    EXPECT_THAT(errorsIn("/a CHAR \"" + longest + "x\""),
                ElementsAre("in:1:9: error: the value takes 16777216 bytes; a record holds at "
                            "most 16777215"));
}

TEST(Source, DatabaseThatFillsItsLengthFieldIsTakenAndOneByteMoreIsAnError)
{
    // Ten for the tail, nine for the record.
    SourceParser enough(19);
    enough.parse("in", "/a U8 1");
    EXPECT_THAT(errorsOf(enough), IsEmpty());

    SourceParser tooFew(18);
    tooFew.parse("in", "/a U8 1");
    EXPECT_THAT(errorsOf(tooFew),
                ElementsAre("in:1:1: error: the database becomes too large: its length "
                            "field holds at most 18"));
}

TEST(Source, GivenTailCountsInPlaceOfTheUsualOne)
{
    SourceParser parser(2);
    parser.parse("in", "#! tail 01 02");
    EXPECT_THAT(errorsOf(parser), IsEmpty());
    parser.parse("in", "#! tail 03");
    EXPECT_THAT(errorsOf(parser), ElementsAre(HasSubstr("in:1:4: error: the database becomes")));
}

TEST(Printer, SaysPlainlyWhatAPlainSourceCanSay)
{
    const DbBuilder builder = DbBuilder()
                                  .s16("/n", {-1, 2})
                                  .text("/t", "a\"\\\n\t\x7F\xC3")
                                  .u8("/e", {})
                                  .text("/et", "")
                                  .record({.key = "/odd", .type = 4, .data = "a"})
                                  .record({.key = "/unnamed", .type = 1});
    EXPECT_EQ(printSource(builder.database()), "/n S16 -1 2\n"
                                               "/t CHAR \"a\\\"\\\\\\n\\t\\x7f\\xc3\"\n"
                                               "/e U8\n"
                                               "/et CHAR \"\"\n"
                                               "/odd 4 \"a\"\n"
                                               "/unnamed 1\n");
}

TEST(Printer, SaysTheRestInDirectives)
{
    const DbBuilder builder = DbBuilder()
                                  .reserved("\0\0\0\x01"s)
                                  .u8("/a", {1})
                                  .u8("/a", {2})
                                  .u8("key", {3})
                                  .tail(std::string(33, '\xAB'))
                                  .unchecked("\0\x02"s)
                                  .extra("\x03");
    std::string fullLine;
    for (int i = 0; i < 32; ++i)
        fullLine += " ab";
    EXPECT_EQ(printSource(builder.database()), "#! reserved 00 00 00 01\n"
                                               "/a U8 1\n"
                                               "#! record 46 \"/a\" U8 2\n"
                                               "#! record 46 \"key\" U8 3\n"
                                               "#! tail" +
                                                   fullLine +
                                                   "\n"
                                                   "#! tail ab\n"
                                                   "#! unchecked 00 02\n"
                                                   "#! extra 03\n");
}

} // namespace
} // namespace Varnix::DbFile

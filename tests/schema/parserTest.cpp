#include "tests/schema/schemaText.h"
#include "tests/support/badLine.h"

namespace Varnix::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(SchemaParser, ReadsEveryPartOfALine)
{
    const Schema::Schema schema =
        schemaOf("# the unit\n"
                 "/unit/gain U16[3] 0..63 unit dB default 1 2 3 required \"front end\"\n");
    ASSERT_THAT(schema.lines(), SizeIs(1));
    const Schema::Line& line = schema.lines().front();
    EXPECT_EQ(line.place, (DbFile::SourcePlace{"s", 2, 1}));
    EXPECT_EQ(line.key.text(), "/unit/gain");
    EXPECT_EQ(line.typeText(), "U16[3]");
    EXPECT_EQ(line.limits.text(), "0..63");
    EXPECT_EQ(line.unit, "dB");
    ASSERT_TRUE(line.fallback);
    EXPECT_EQ(line.fallback->data, std::string("\0\1\0\2\0\3", 6));
    EXPECT_TRUE(line.isRequired);
    EXPECT_FALSE(line.isDeprecated);
    EXPECT_EQ(line.description, "front end");
}

TEST(SchemaParser, TakesPropertiesInAnyOrder)
{
    const Schema::Schema schema =
        schemaOf("/a CHAR \"what it is\" deprecated default \"a b\" unit m\n");
    const Schema::Line& line = schema.lines().at(0);
    EXPECT_EQ(line.description, "what it is");
    EXPECT_TRUE(line.isDeprecated);
    EXPECT_EQ(line.fallback->data, "a b");
    EXPECT_EQ(line.unit, "m");
}

TEST(SchemaParser, ADescriptionMayGoOnOnFurtherLines)
{
    const Schema::Schema schema = schemaOf("/a CHAR x|y \"a long \" \\\n    \"description\" \\\n"
                                           "  \", it is\" required\n/b CHAR default \"d\" \\\n"
                                           "  \"of b\"\n");
    EXPECT_EQ(schema.lines().at(0).description, "a long description, it is");
    EXPECT_TRUE(schema.lines().at(0).isRequired);
    EXPECT_EQ(schema.lines().at(1).fallback->data, "d") << "a default is one text";
    EXPECT_EQ(schema.lines().at(1).description, "of b");
}

TEST(SchemaParser, ADefaultMayBeAWordOfTheSchema)
{
    const Schema::Schema schema = schemaOf("/a CHAR default required\n");
    EXPECT_EQ(schema.lines().at(0).fallback->data, "required");
    EXPECT_FALSE(schema.lines().at(0).isRequired);
}

constexpr const char* repeatsTooMuch =
    "s:1:9: error: the expression repeats too much: written out it has more than 1000 characters";

constexpr const char* repeatsNothing =
    "s:1:9: error: the expression repeats what may be empty with *, + or {n,}";

constexpr const char* backslashWithoutCharacter =
    "s:1:1: error: a key's backslash stands before a character other than \"/\"";

class BadSchemaLines : public testing::TestWithParam<BadLine>
{
};

TEST_P(BadSchemaLines, AreNamedWithTheirPlace)
{
    EXPECT_THAT(schemaErrors(GetParam().text), ElementsAre(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(
    SchemaParser, BadSchemaLines,
    testing::Values(
        BadLine{"NoSlash", "a U8",
                "s:1:1: error: a key is \"/\" and at least one character more, not quoted"},
        BadLine{"NoType", "/a", "s:1:3: error: the type is missing"},
        BadLine{"Type", "/a U61", "s:1:4: error: unknown type \"U61\"; did you mean \"U16\"?"},
        BadLine{"Number", "/a 4", "s:1:4: error: unknown type \"4\"; did you mean \"U8\"?"},
        BadLine{"Word", "/a U8 requird",
                "s:1:7: error: unknown word \"requird\"; did you mean \"required\"?"},
        BadLine{"Directive", "#! tail 00",
                "s:1:1: error: a key is \"/\" and at least one character more, not quoted"},
        BadLine{"Count", "/a U8[x]",
                "s:1:4: error: the number of elements is written [N] or [MIN..MAX]"},
        BadLine{"CountNotClosed", "/a U8[1",
                "s:1:4: error: the number of elements is written [N] or [MIN..MAX]"},
        BadLine{"CountReversed", "/a U8[2..1]", "s:1:4: error: no number is from 2 to 1"},
        BadLine{"CountTooLarge", "/a U32[4194304]",
                "s:1:4: error: a value has at most 4194303 elements"},
        BadLine{"RangeReversed", "/a U8 2..1", "s:1:7: error: the range is empty: 2 is above 1"},
        BadLine{"RangeOutsideTheType", "/a U8 1..256",
                "s:1:10: error: 256 is out of range: U8 holds 0 to 255"},
        BadLine{"RangeOfText", "/a U8 1..b", "s:1:10: error: \"b\" is not a decimal or 0x number"},
        BadLine{"EmptyAlternative", "/a CHAR a||b", "s:1:11: error: an alternative is missing"},
        BadLine{"AlternativesAndExpression", "/a CHAR a|b /c/",
                "s:1:13: error: there are alternatives or one expression, not both"},
        BadLine{"ExpressionAndAlternatives", "/a CHAR /c/ a|b",
                "s:1:13: error: there are alternatives or an expression, not both"},
        BadLine{"ExpressionOfNothing", "/a CHAR //", "s:1:9: error: the expression is empty"},
        BadLine{"ExpressionTooLong", "/a CHAR /" + std::string(257, 'a') + "/",
                "s:1:9: error: an expression has at most 256 bytes"},
        BadLine{"ExpressionNotClosed", "/a CHAR /b",
                "s:1:9: error: an expression ends with a slash and holds no blank, double quote or "
                "number sign"},
        BadLine{"Expression", "/a CHAR /(/", "s:1:9: error: not an expression: Unmatched ( or \\("},
        BadLine{"ExpressionWithBackReference", "/a CHAR /(a)\\1/",
                "s:1:9: error: an expression has no back-reference"},
        BadLine{"ExpressionTooLarge", "/a CHAR /((a{99}){99}){99}/", repeatsTooMuch},
        BadLine{"ExpressionOfStackedNumbers", "/a CHAR /a{30}{30}{30}/", repeatsTooMuch},
        BadLine{"ExpressionOfStackedSigns", "/a CHAR /a" + std::string(20, '+') + "/",
                repeatsTooMuch},
        BadLine{"ExpressionOfNumbersOnAStar", "/a CHAR /a{40}*{40}/", repeatsTooMuch},
        BadLine{"ExpressionOfNumbersOnAQuestionMark", "/a CHAR /a{40}?{40}/", repeatsTooMuch},
        BadLine{"ExpressionOfStackedSignsBeforeAnOpenGroup",
                "/a CHAR /a" + std::string(20, '+') + "(b/", repeatsTooMuch},
        BadLine{"ExpressionOfStackedOpenRanges",
                "/a CHAR /a{1,}{1,}{1,}{1,}{1,}{1,}{1,}{1,}{1,}{1,}/", repeatsTooMuch},
        BadLine{"ExpressionOfAStarOnAStar", "/a CHAR /(a*)*/", repeatsNothing},
        BadLine{"ExpressionOfAPlusOnAQuestionMark", "/a CHAR /a?+/", repeatsNothing},
        BadLine{"ExpressionOfAnOpenRangeOnAStar", "/a CHAR /(a*){2,}/", repeatsNothing},
        BadLine{"ExpressionOfAStarOnARangeFromNone", "/a CHAR /(a{0,2})*/", repeatsNothing},
        BadLine{"ExpressionOfAStarOnARangeWithoutAStart", "/a CHAR /(a{,2})*/", repeatsNothing},
        BadLine{"ExpressionOfAStarOnAnEmptyFirstAlternative", "/a CHAR /(|a)*/", repeatsNothing},
        BadLine{"ExpressionOfAStarOnAnEmptyLastAlternative", "/a CHAR /(a|b*)*/", repeatsNothing},
        BadLine{"ExpressionOfAStarOnTwoStars", "/a CHAR /(a*b*)*/", repeatsNothing},
        BadLine{"ExpressionOfAStarOnAPlace", "/a CHAR /(^)*/", repeatsNothing},
        BadLine{"ExpressionOfAStarOnAWordsEnd", "/a CHAR /(a*\\>)*/", repeatsNothing},
        BadLine{"NoUnit", "/a U8 unit", "s:1:11: error: the unit is missing"},
        BadLine{"NoDefault", "/a U8 default", "s:1:14: error: the default is missing"},
        BadLine{"DefaultOfAnotherType", "/a U8 default x",
                "s:1:15: error: \"x\" is not a decimal or 0x number"},
        BadLine{"RequiredTwice", "/a U8 required required",
                "s:1:16: error: required is given twice"},
        BadLine{"DescriptionTwice", "/a U8 \"b\" \"c\"",
                "s:1:11: error: the description is given twice"},
        BadLine{"OpenBracket", "/a[b U8", "s:1:1: error: a key's bracket is not closed"},
        BadLine{"SlashInABracket", "/a[b/c] U8",
                "s:1:1: error: a key's bracket holds no \"/\", no \"[\" and no backslash"},
        BadLine{"BracketOfNothing", "/a[z-a] U8", "s:1:1: error: a key's bracket matches nothing"},
        BadLine{"KeyOfABackslash", "/a\\ U8", backslashWithoutCharacter},
        BadLine{"KeyOfAnEscapedSlash", "/a*\\/ U8", backslashWithoutCharacter},
        BadLine{"KeyTooLong", "/" + std::string(255, 'a') + " U8",
                "s:1:1: error: a schema's key has at most 255 bytes"},
        BadLine{"KeyTwice", "\n/a U8\n/a U8", "s:3:1: error: /a is given twice; first in line 2"},
        BadLine{"NoText", "/a U8 \x01", "s:1:7: error: not a text source: byte 0x1"}),
    nameOf);

TEST(SchemaParser, NamesAllErrors)
{
    EXPECT_THAT(schemaErrors("/a U9\n/b U8\n/c U8 unti m\n"),
                ElementsAre("s:1:4: error: unknown type \"U9\"; did you mean \"U8\"?",
                            "s:3:7: error: unknown word \"unti\"; did you mean \"unit\"?"));
}

TEST(SchemaParser, TakesNoMoreLinesThanItsLimits)
{
    std::string text;
    for (std::size_t i = 0; i <= Schema::Schema::maxPatterns; ++i)
        text += "/a*/" + std::to_string(i) + " U8\n";
    EXPECT_THAT(schemaErrors(text),
                ElementsAre("s:1001:1: error: too many patterns: schemas have at most 1000"));
}

TEST(SchemaParser, MostLinesAreTakenAndNoneMore)
{
    std::string text;
    for (int i = 0; i < 10'000; ++i)
        text += "/" + std::to_string(i) + " U8\n";
    EXPECT_THAT(schemaErrors(text), ElementsAre());
    EXPECT_THAT(schemaErrors(text + "/more U8\n"),
                ElementsAre("s:10001:1: error: too many lines: schemas have at most 10000"));
}

/** The number as three digits. */
std::string threeDigits(int number)
{
    return std::to_string(1000 + number).substr(1);
}

TEST(SchemaParser, TakesNoMorePatternsThanCanBeCompared)
{
    std::string text;
    for (int i = 0; i < 129; ++i) // of 255 bytes each
        text += "/*" + std::string(250, 'a') + threeDigits(i) + " U8\n";
    EXPECT_THAT(schemaErrors(text),
                ElementsAre("s:129:1: error: too long patterns: all of a schema have at most 32768 "
                            "bytes together"));
}

TEST(SchemaParser, TakesNoMoreExpressionsInPatternsThanOneValueCanBeHeldAgainst)
{
    std::string text;
    for (int i = 0; i < 23; ++i) // of 901 characters each, written out
        text += "/*" + threeDigits(i) + " CHAR /.{900}/\n/b" + threeDigits(i) + " CHAR /.{900}/\n";
    EXPECT_THAT(
        schemaErrors(text),
        ElementsAre("s:45:1: error: too large expressions: in lines with patterns they have "
                    "at most 20000 characters together, written out"));
}

} // namespace
} // namespace Varnix::Test

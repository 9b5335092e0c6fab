#include "dbfile/likeSource.h"
#include "dbfile/sourceParser.h"
#include "tests/support/dbBuilder.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::DbFile {
namespace {

using Test::DbBuilder;
using testing::ElementsAre;
using testing::IsEmpty;

using Findings = std::vector<SourceFinding>;

std::vector<std::string> textsOf(const Findings& findings)
{
    std::vector<std::string> texts;
    for (const SourceFinding& finding : findings)
        texts.push_back(describe(finding));
    return texts;
}

SourceParser parsed(std::string_view text)
{
    SourceParser parser;
    parser.parse("in", text);
    return parser;
}

Database databaseOf(std::string_view text)
{
    const SourceParser parser = parsed(text);
    EXPECT_THAT(textsOf(parser.errors()), IsEmpty()) << text;
    return parser.database();
}

TEST(LongLine, GoesOnAfterABackslash)
{
    EXPECT_EQ(databaseOf("/a U8 1 2 \\\n  3 \\ # comment\r\n\\\n4\n/b U8 5"),
              DbBuilder().u8("/a", {1, 2, 3, 4}).u8("/b", {5}).database());
}

TEST(LongLine, JoinsTexts)
{
    EXPECT_EQ(databaseOf("/a CHAR \"one \" \\\n  \"two\\n\"\n"),
              DbBuilder().text("/a", "one two\n").database());
}

TEST(LongLine, DoesNotJoinTextsOfOneLine)
{
    EXPECT_THAT(textsOf(parsed("/a CHAR \"one\" \"two\"").errors()),
                ElementsAre("in:1:15: error: CHAR takes one value between double quotes"));
    EXPECT_THAT(textsOf(parsed("/a CHAR \"one\" \\\n\"two\" 3").errors()),
                ElementsAre("in:2:7: error: CHAR takes one value between double quotes"));
}

TEST(LongLine, NamesTheLineOfAnError)
{
    EXPECT_THAT(textsOf(parsed("/a U8 1 \\\n 2 256\n/b U9\n").errors()),
                ElementsAre("in:2:4: error: 256 is out of range: U8 holds 0 to 255",
                            "in:3:4: error: unknown type \"U9\"; there are U8 S8 U16 S16 U32 S32 "
                            "CHAR and the numbers 0 to 255"));
    EXPECT_THAT(textsOf(parsed("\\\n/abc\n").errors()),
                ElementsAre("in:2:5: error: the type is missing"));
    EXPECT_THAT(textsOf(parsed("/abc \\\n# U8\n").errors()),
                ElementsAre("in:1:5: error: the type is missing"));
    EXPECT_THAT(textsOf(parsed("/a CHAR \\\n\"x").errors()),
                ElementsAre("in:2:1: error: the double quote is not closed"));
}

TEST(LongLine, NeedsALineThatGoesOn)
{
    EXPECT_THAT(textsOf(parsed("/a U8 1 \\").errors()),
                ElementsAre("in:1:9: error: no line follows that goes on with this one"));
    EXPECT_EQ(databaseOf("/a U8 1 \\\n\n/b U8 2"),
              DbBuilder().u8("/a", {1}).u8("/b", {2}).database());
}

TEST(LongLine, MayNotHideItsBackslashInAText)
{
    EXPECT_EQ(databaseOf("/a CHAR \"\\\\\"\n/b CHAR \"x\" # \\\n"),
              DbBuilder().text("/a", "\\").text("/b", "x").database());
}

class Override : public testing::Test
{
protected:
    SourceParser m_parser{Format::maxLength, SourceParser::Repetition::OVERRIDES};
};

TEST_F(Override, TakesTheLaterSourcesValueInTheEarliersPlace)
{
    m_parser.parse("one", "/a U8 1\n/b U8 2");
    m_parser.parse("two", "\n  /a CHAR \"longer\"");
    EXPECT_THAT(textsOf(m_parser.errors()), IsEmpty());
    EXPECT_EQ(m_parser.database(), DbBuilder().text("/a", "longer").u8("/b", {2}).database());
    EXPECT_THAT(textsOf(m_parser.overrides()),
                ElementsAre("two:2:3: error: /a overrides the value at one:1:1"));
    EXPECT_EQ(m_parser.places().front(), (SourcePlace{"two", 2, 3}));
}

TEST_F(Override, RefusesAKeyThatOneSourceGivesTwice)
{
    m_parser.parse("one", "/a U8 1");
    m_parser.parse("two", "/a U8 2\n/a U8 3");
    EXPECT_THAT(textsOf(m_parser.errors()),
                ElementsAre("two:2:1: error: /a is given twice; first at two:1:1"));
}

TEST_F(Override, WarnsOfTheValueThatCountsAlone)
{
    m_parser.parse("one", "/a U8\n/b U8 1");
    m_parser.parse("two", "/a U8 1\n/b U8");
    ASSERT_EQ(m_parser.warnings().size(), 1U);
    EXPECT_EQ(m_parser.warnings().front().place, (SourcePlace{"two", 2, 1}));
}

TEST_F(Override, KeepsTheWarningsOfOtherKeys)
{
    m_parser.parse("one", "/a U8\n/b U8");
    m_parser.parse("two", "/a U8 1");
    ASSERT_EQ(m_parser.warnings().size(), 1U);
    EXPECT_EQ(m_parser.warnings().front().place, (SourcePlace{"one", 2, 1}));
}

TEST_F(Override, CountsTheSizeOfTheValueThatIsThere)
{
    SourceParser parser(20, SourceParser::Repetition::OVERRIDES); // ten more than one record
    parser.parse("one", "/a U8 1 2");
    parser.parse("two", "/a U8 3 4");
    EXPECT_THAT(textsOf(parser.errors()), IsEmpty());
    parser.parse("three", "/a U8 1 2 3");
    EXPECT_EQ(parser.errors().size(), 1U);
}

TEST(LikeSource, KeepsWhatHasNotChangedAndTheComments)
{
    const std::string source = "# the unit\n"
                               "\n"
                               "/gain   U16 0x11   # in dB\n"
                               "# its name\n"
                               "/label  CHAR \"a \" \\ # first\n"
                               "             \"b\"   # second\n"
                               "/gone   U8 1\n"
                               "# the end\n";
    const Database same = databaseOf("/gain U16 17\n/label CHAR \"a b\"\n/gone U8 1");
    EXPECT_EQ(printLike(same, source), source);
    const Database other = databaseOf("/new U8 5\n/label CHAR \"c\"\n/gain U16 18");
    const std::string text = printLike(other, source);
    EXPECT_EQ(text, "/new U8 5\n"
                    "# its name\n"
                    "/label  CHAR \"c\" # first # second\n"
                    "# the unit\n"
                    "\n"
                    "/gain   U16 18 # in dB\n"
                    "# the end\n");
    EXPECT_EQ(databaseOf(text), other);
}

/** What becomes of a source when "/max" changes to a text. */
std::string changed(const std::string& source)
{
    return printLike(DbBuilder().text("/max", "new").database(), source);
}

TEST(LikeSource, AddsNothingToALineWithoutAComment)
{
    EXPECT_EQ(changed("/max   CHAR \"old\"\n"), "/max   CHAR \"new\"\n");
}

TEST(LikeSource, KeepsACommentThatNoBlankSeparates)
{
    EXPECT_EQ(changed("/max U8 1#one\n"), "/max CHAR \"new\" #one\n");
}

TEST(LikeSource, TakesNoNumberSignInAValueForAComment)
{
    EXPECT_EQ(changed("/max CHAR \"a#b\" # one\n"), "/max CHAR \"new\" # one\n");
}

TEST(LikeSource, PutsAKeyAndItsTypeOnOneLine)
{
    EXPECT_EQ(changed("/max \\ # one\n  U8 1 \\\n# two\n"), "/max CHAR \"new\" # one # two\n");
    for (const std::string end : {"\n", "\r\n"}) {
        EXPECT_EQ(changed("/max \\" + end + "U8 1" + end), "/max CHAR \"new\"\n");
        EXPECT_EQ(changed("\\" + end + "/max U8 1" + end), "/max CHAR \"new\"\n");
    }
}

TEST(LikeSource, SaysWhatAPlainSourceCannotSay)
{
    const Database database =
        DbBuilder().reserved("abcd").u8("/a", {1}).u8("/a", {2}).u8("b", {3}).extra("x").database();
    const std::string text =
        printLike(database, "#! reserved 00 00 00 01\n/a U8 1 # one\n#! extra 01\n# end");
    EXPECT_EQ(databaseOf(text), database);
    EXPECT_EQ(text, "#! reserved 61 62 63 64\n"
                    "/a U8 1 # one\n"
                    "#! record 46 \"/a\" U8 2\n"
                    "#! record 46 \"b\" U8 3\n"
                    "# end\n"
                    "#! extra 78\n");
}

} // namespace
} // namespace Varnix::DbFile

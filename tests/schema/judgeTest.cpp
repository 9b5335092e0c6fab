#include "schema/judge.h"

#include "tests/schema/schemaText.h"

namespace Varnix::Test {
namespace {

using Schema::Check;
using Schema::Coverage;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Said = std::vector<std::pair<Check, std::string>>;

Said said(const std::vector<Schema::Finding>& findings)
{
    Said result;
    for (const Schema::Finding& finding : findings)
        result.emplace_back(finding.check, finding.text);
    return result;
}

Said against(std::string_view schema, const DbFile::Value& value,
             Coverage coverage = Coverage::OPEN)
{
    return said(judge(schemaOf(schema), "/a/b", value, coverage));
}

DbFile::Value u8(const std::string& data)
{
    return {.type = 2, .data = data};
}

DbFile::Value text(const std::string& data)
{
    return {.type = DbFile::charType, .data = data};
}

TEST(Judge, AnotherTypeIsAFinding)
{
    EXPECT_EQ(against("/a/b U16", u8("xx")), (Said{{Check::TYPE, "U8 is not U16 (s:1)"}}));
    EXPECT_EQ(against("/a/b U8", {.type = 9, .data = "x"}),
              (Said{{Check::TYPE, "type 9 is not U8 (s:1)"}}));
    EXPECT_EQ(against("/a/b U16", {.type = 4, .data = "xyz"}),
              (Said{{Check::TYPE, "3 bytes are no whole number of U16 elements (s:1)"}}));
    EXPECT_EQ(against("/a/b U8", u8("x")), Said());
}

TEST(Judge, AnotherNumberOfElementsIsAFinding)
{
    EXPECT_EQ(against("/a/b U16[2..3]", {.type = 4, .data = "12"}),
              (Said{{Check::ELEMENTS, "the number of elements is 1, not 2..3 (s:1)"}}));
    EXPECT_EQ(against("/a/b CHAR[2]", text("abc")),
              (Said{{Check::ELEMENTS, "the number of bytes is 3, not 2 (s:1)"}}));
    EXPECT_EQ(against("/a/b U16[2..3]", {.type = 4, .data = "123456"}), Said());
}

TEST(Judge, EachElementOutsideTheRangesIsAFinding)
{
    const auto findings =
        judge(schemaOf("/a/b S8 -2..3 9"), "/a/b", {.type = 3, .data = "\x03\x0a\xfd\x05\x09\xfe"});
    EXPECT_EQ(said(findings), (Said{{Check::RANGE, "10 is above 9 (s:1)"},
                                    {Check::RANGE, "-3 is below -2 (s:1)"},
                                    {Check::RANGE, "5 is not in -2..3 9 (s:1)"}}));
    EXPECT_EQ(findings.at(0).element, 1U);
    EXPECT_EQ(findings.at(2).element, 3U);
}

TEST(Judge, ManyElementsOutsideAreCounted)
{
    const Said found = against("/a/b U8 0..1", u8(std::string(1000, 'x')));
    ASSERT_THAT(found, SizeIs(Schema::maxElementFindings + 1));
    EXPECT_EQ(found.back().second, "980 more elements are not in 0..1 (s:1)");
}

TEST(Judge, ATextIsOneOfTheAlternatives)
{
    EXPECT_EQ(against("/a/b CHAR idle|normal", text("idle")), Said());
    EXPECT_EQ(against("/a/b CHAR idle|normal", text("idl")),
              (Said{{Check::ALTERNATIVE, "\"idl\" is none of idle|normal (s:1)"}}));
    EXPECT_EQ(against("/a/b U8 1|3", u8("\x03")), Said());
    EXPECT_EQ(against("/a/b U8 1|3", u8("\x02")), (Said{{Check::RANGE, "2 is not in 1|3 (s:1)"}}));
}

TEST(Judge, AnExpressionMatchesTheWholeText)
{
    EXPECT_EQ(against("/a/b CHAR /V[0-9]{4}/", text("V1234")), Said());
    EXPECT_EQ(against("/a/b CHAR /a|ab/", text("ab")), Said());
    EXPECT_EQ(against("/a/b CHAR /V[0-9]{4}/", text("V12345")),
              (Said{{Check::EXPRESSION, R"("V12345" does not match /V[0-9]{4}/ (s:1))"}}));
    EXPECT_THAT(against("/a/b CHAR /b/", text("ab")), SizeIs(1));
    EXPECT_THAT(against("/a/b CHAR /a/", text(std::string("a\0", 2))), SizeIs(1));
    EXPECT_EQ(against("/a/b CHAR /a*/", text("")), Said());
    EXPECT_EQ(against("/a/b CHAR /a*/", text(std::string(4096, 'a'))), Said());
    EXPECT_EQ(against("/a/b CHAR /a*/", text(std::string(4097, 'a'))).at(0).second,
              "a text of 4097 bytes is too long to match an expression; the most is 4096 (s:1)");
}

TEST(Judge, AnExpressionMayRepeatWhatIsNeverEmptyAndHowOftenItLikesWhatIs)
{
    for (const char* const expression :
         {"(a|b?b)*", "(a*b)+", "((a+)+b){0,2}", "(a?b?){5}", "(a*)?b+", "((a*)?){1,5}b*",
          "(a)+(b)*", "([b]|a)+", R"((\w)*)", "(a{1,}b?)+", "^(a|b)*$"})
        EXPECT_EQ(against("/a/b CHAR /" + std::string(expression) + "/", text("aab")), Said())
            << expression;
}

TEST(Judge, ADeprecatedParameterIsAWarning)
{
    EXPECT_EQ(against("/a/* U8 deprecated", u8("x")),
              (Said{{Check::DEPRECATED, "/a/* is deprecated (s:1)"}}));
    EXPECT_TRUE(isWarning(Check::DEPRECATED));
    EXPECT_FALSE(isWarning(Check::RANGE));
}

TEST(Judge, AKeyThatNoLineDescribesIsAFindingOfAClosedSchema)
{
    EXPECT_EQ(against("/a U8", u8("x")), Said());
    EXPECT_EQ(against("/a U8", u8("x"), Coverage::CLOSED),
              (Said{{Check::CLOSED, "no line of a schema describes \"/a/b\""}}));
    EXPECT_EQ(against("/a/* U8", u8("x"), Coverage::CLOSED), Said());
}

TEST(Judge, AllLinesThatMatchHold)
{
    EXPECT_EQ(said(judge(schemaOf("/a/* U8 0..9", "/a/b U8 5..20"), "/a/b", u8("\x03\x0f"))),
              (Said{{Check::RANGE, "15 is above 9 (s:1)"}, {Check::RANGE, "3 is below 5 (t:1)"}}));
}

TEST(Judge, ARequiredParameterThatIsAbsentIsAFinding)
{
    const Schema::Schema schema = schemaOf("/a U8 required\n/b/* U8 required\n/c U8\n");
    EXPECT_EQ(said(judgeAbsent(schema, {"/c"})),
              (Said{{Check::REQUIRED, "/a is required and absent (s:1)"},
                    {Check::REQUIRED, "/b/* is required and absent (s:2)"}}));
    EXPECT_EQ(said(judgeAbsent(schema, {"/a", "/b/1"})), Said());
}

} // namespace
} // namespace Varnix::Test

#include "schema/contradictions.h"
#include "tests/schema/schemaText.h"

namespace Varnix::Test {
namespace {

std::vector<std::string> found(std::string_view text, std::string_view second = "")
{
    std::vector<std::string> texts;
    for (const Schema::SchemaFinding& finding : contradictions(schemaOf(text, second)))
        texts.push_back(describe(finding.finding));
    return texts;
}

using Texts = std::vector<std::string>;

struct Contradiction
{
    const char* name;
    const char* first;
    const char* second;
    const char* error;
};

void PrintTo(const Contradiction& contradiction, std::ostream* out)
{
    *out << contradiction.first << " and " << contradiction.second;
}

class Contradictions : public testing::TestWithParam<Contradiction>
{
};

TEST_P(Contradictions, AreNamedWithBothPlaces)
{
    const auto& [name, first, second, error] = GetParam();
    const std::string text = "t:1:1: error: " + std::string(error) + " (s:1)";
    EXPECT_EQ(found(first, second), Texts{text});
}

INSTANTIATE_TEST_SUITE_P(
    Schema, Contradictions,
    testing::Values(
        Contradiction{"Types", "/a U8", "/a U16", "U16 contradicts U8"},
        Contradiction{"TypesOfPatterns", "/a/* U8", "/*/b U16", "U16 contradicts U8"},
        Contradiction{"TypeOfAPatternAndAKey", "/a/b U8", "/a/* U16", "U16 contradicts U8"},
        Contradiction{"Counts", "/a U8[1..2]", "/a U8[3]", "U8[3] contradicts U8[1..2]"},
        Contradiction{"Ranges", "/a U8 1..2 4", "/a U8 3", "3 contradicts 1..2 4"},
        Contradiction{"Alternatives", "/a CHAR a|b", "/a CHAR c|d", "c|d contradicts a|b"},
        Contradiction{"Expression", "/a CHAR a|b", "/a CHAR /[c-z]/", "/[c-z]/ contradicts a|b"},
        Contradiction{"Units", "/a U8 unit m", "/a U8 unit s", "the unit s contradicts m"},
        Contradiction{"Required", "/a U8 deprecated", "/a U8 required",
                      "what is required is not deprecated"},
        Contradiction{"Defaults", "/a U8 default 1", "/a U8 default 2",
                      "the default U8 2 contradicts U8 1"}),
    [](const auto& tested) { return tested.param.name; });

TEST(SchemaItself, LinesThatOverlapAndCanBothHoldAreNoFinding)
{
    EXPECT_EQ(found("/a/* U8[1..3] 0..9 default 1\n/a/b U8[2] 5..20 default 6 7 unit m required"),
              Texts());
    EXPECT_EQ(found("/a CHAR a|b", "/a CHAR b|c"), Texts());
    EXPECT_EQ(found("/a U8", "/b U16"), Texts());
}

TEST(SchemaItself, ADefaultOutsideTheLimitsIsAFinding)
{
    EXPECT_EQ(found("/a U8 0..63 default 70"),
              Texts{"s:1:21: error: the default: 70 is above 63 (s:1)"});
    EXPECT_EQ(found("/a U8[2] default 7"),
              Texts{"s:1:18: error: the default: the number of elements is 1, not 2 (s:1)"});
    EXPECT_EQ(found("/a CHAR x|y default z"),
              Texts{R"(s:1:21: error: the default: "z" is none of x|y (s:1))"});
    EXPECT_EQ(found("/a/* U8 0..9", "/a/b U8 default 10"),
              Texts{"t:1:17: error: the default: 10 is above 9 (s:1)"});
}

TEST(SchemaItself, APatternsDefaultThatAKeyOfItsOwnLineDoesNotAllowIsAFinding)
{
    EXPECT_EQ(found("/a/* U8 default 5\n/a/b U8 0..3"),
              Texts{"s:2:1: error: the default (s:1): 5 is above 3 (s:2)"});
    EXPECT_EQ(found("/a/b U8 0..3", "/a/* U8 default 5"),
              Texts{"s:1:1: error: the default (t:1): 5 is above 3 (s:1)"});
    EXPECT_EQ(found("/a/* U8 default 5\n/a/b U8 0..3 default 2"), Texts());
    EXPECT_EQ(found("/a/* U8 default 5\n/a/b U8 0..9"), Texts());
}

TEST(SchemaItself, ALineThatRequiresADeprecatedParameterIsAFinding)
{
    EXPECT_EQ(found("/a U8 required deprecated"),
              Texts{"s:1:1: error: what is required is not deprecated (s:1)"});
}

TEST(SchemaDefault, OfTheFirstPatternCountsWhereNoLineOfTheKeyItselfHasOne)
{
    const Schema::Schema schema =
        schemaOf("/a/* U8 default 1\n/*/b U8 default 2\n/a/b U8\n/a/c U8 default 3");
    EXPECT_EQ(schema.defaultOf("/a/b")->place.line, 1U);
    EXPECT_EQ(schema.defaultOf("/a/c")->place.line, 4U);
    EXPECT_EQ(schema.defaultOf("/c/b")->place.line, 2U);
    EXPECT_EQ(schema.defaultOf("/c"), nullptr);
}

} // namespace
} // namespace Varnix::Test

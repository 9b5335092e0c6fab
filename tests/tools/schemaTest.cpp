#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using Json = nlohmann::json;

class SchemaOption : public ToolTest
{
};

TEST_F(SchemaOption, OfCheckAloneFindsNothingInAGoodSchema)
{
    write("s", "/a U8 0..9 default 3\n");
    expectResult(varnix({"check", "--schema", "s"}), 0, "", "");
}

TEST_F(SchemaOption, OfCheckAloneNamesWhatContradictsItself)
{
    write("s", "/a U8 0..9 default 10\n");
    write("t", "/a U16\n");
    expectResult(varnix({"check", "--schema", "s", "--schema", "t"}), 1,
                 "s:1:20: error: the default: 10 is above 9 (s:1)\n"
                 "t:1:1: error: U16 contradicts U8 (s:1)\n",
                 "varnix: varnix-schema(5) explains these checks: contradiction, default\n");
}

TEST_F(SchemaOption, WithErrorsIsInvalidAndAllOfThemAreNamed)
{
    write("s", "/a U9\n/b U8 requird\n");
    write("a", "/a U8 1\n");
    const std::string errors =
        "s:1:4: error: unknown type \"U9\"; did you mean \"U8\"?\n"
        "s:2:7: error: unknown word \"requird\"; did you mean \"required\"?\n";
    expectResult(varnix({"check", "--schema", "s"}), 4, "", errors);
    expectResult(varnix({"build", "--schema", "s", "a"}), 4, "", errors);
    EXPECT_FALSE(exists("a.db"));
    EXPECT_EQ(varnix({"check", "--schema", "absent"}).status, 3);
}

TEST_F(SchemaOption, OfCheckNamesWhatTheParametersMustNotBe)
{
    write("s", "/unit/gain U16[3] 0..63\n/old U8 deprecated\n");
    DbBuilder()
        .u16("/unit/gain", {1, 70, 3})
        .u8("/old", {1})
        .u8("/new", {1})
        .write(m_directory / "db");
    const std::string above = "db:@0x1c: error: 70 is above 63 (s:1)\n";
    const std::string old = "db:@0x21: warning: /old is deprecated (s:2)\n";
    expectResult(varnix({"check", "--schema", "s", "db"}), 1, above,
                 old + "varnix: varnix-schema(5) explains these checks: range, deprecated\n");
    expectResult(varnix({"check", "--schema", "s", "--closed", "db"}), 1,
                 above + "db:@0x2c: error: no line of a schema describes \"/new\"\n",
                 old +
                     "varnix: varnix-schema(5) explains these checks: range, deprecated, closed\n");
}

TEST_F(SchemaOption, OfBuildWritesNothingThatTheSchemaRefuses)
{
    write("node.schema", "/unit/gain U16 0..63\n");
    write("unit.txt", "# gains\n\n/unit/gain   U16    70\n");
    expectResult(varnix({"build", "--schema", "node.schema", "unit.txt"}), 4, "",
                 "unit.txt:3:21: error: 70 is above 63 (node.schema:1)\n"
                 "varnix: varnix-schema(5) explains these checks: range\n");
    EXPECT_FALSE(exists("unit.db"));
}

TEST_F(SchemaOption, OfBuildWritesWhatTheSchemaAllows)
{
    write("s", "/a U8 0..9\n");
    write("a", "/a U8 9\n");
    expectResult(varnix({"build", "--depfile", "d", "-o", "db", "--schema", "s", "a"}), 0, "", "");
    EXPECT_EQ(read("db"), DbBuilder().u8("/a", {9}).image());
    EXPECT_EQ(read("d"), "db: a s\na:\ns:\n");
}

TEST_F(SchemaOption, OfBuildWarnsOfWhatIsDeprecated)
{
    write("s", "/a U8 deprecated\n");
    write("a", "/a U8 9\n");
    expectResult(varnix({"build", "-o", "db", "--schema", "s", "a"}), 0, "",
                 "a:1:1: warning: /a is deprecated (s:1)\n"
                 "varnix: varnix-schema(5) explains these checks: deprecated\n");
    EXPECT_EQ(read("db"), DbBuilder().u8("/a", {9}).image());
}

TEST_F(SchemaOption, IsNeverReplacedByAnOutput)
{
    write("s", "/a U8\n");
    write("a", "/a U8 1\n");
    EXPECT_EQ(varnix({"build", "-o", "s", "--schema", "s", "a"}).status, 2);
    EXPECT_EQ(read("s"), "/a U8\n");
}

TEST_F(SchemaOption, ClosedNeedsASchema)
{
    EXPECT_EQ(varnix({"check", "--closed", "db"}).status, 2);
    expectResult(varnix({"check"}), 2, "",
                 "varnix: a file or --schema is required\nTry varnix check --help.\n");
}

TEST_F(SchemaOption, OfDumpShowsEachLineWithWhatItSays)
{
    write("s", "/unit/gain U16[3] 0..63 unit dB required default 1 2 3 \"a \\\"gain\\\"\"\n");
    write("t", "# comment\n/mode CHAR[1..8] a|b deprecated default a\n/*/x S8 -3..-1|5 7\n");
    const ProcessResult result = varnix({"dump", "--json", "--schema", "s", "--schema", "t"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Json::parse(result.out), Json::parse(R"(
        {"schemas": ["s", "t"], "errors": [], "lines": [
         {"file": "s", "line": 1, "key": "/unit/gain", "type": "U16",
          "elements": {"min": 3, "max": 3}, "limits": "0..63", "unit": "dB",
          "default": {"type": "U16", "value": [1, 2, 3]}, "required": true, "deprecated": false,
          "description": "a \"gain\""},
         {"file": "t", "line": 2, "key": "/mode", "type": "CHAR",
          "elements": {"min": 1, "max": 8}, "limits": "a|b",
          "default": {"type": "CHAR", "value": "a"}, "required": false, "deprecated": true},
         {"file": "t", "line": 3, "key": "/*/x", "type": "S8", "limits": "-3..-1|5 7",
          "required": false, "deprecated": false}]})"));
}

TEST_F(SchemaOption, OfDumpNeedsJsonAndNoFile)
{
    write("s", "/a U8\n");
    EXPECT_EQ(varnix({"dump", "--schema", "s"}).status, 2);
    const std::string message =
        "varnix: either a file or --schema is required\nTry varnix dump --help.";
    expectResult(varnix({"dump"}), 2, "", message + '\n');
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"dump", "--json", "--schema", "s", "s"}, {"dump", "--json"}}) {
        const ProcessResult result = varnix(words);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(Json::parse(result.out),
                  Json({{"errors", {{{"message", message}, {"status", 2}}}}}));
    }
}

TEST_F(SchemaOption, OfDumpTellsWhatIsWrongWithASchema)
{
    write("s", "/a U9\n");
    const ProcessResult result = varnix({"dump", "--json", "--schema", "s"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(Json::parse(result.out),
              Json({{"errors",
                     {{{"message", "s:1:4: error: unknown type \"U9\"; did you mean \"U8\"?"},
                       {"status", 4}}}}}));
}

} // namespace
} // namespace Varnix::Test

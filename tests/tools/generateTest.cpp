#include "tests/tools/toolTest.h"

namespace Varnix::Test {
namespace {

using testing::HasSubstr;

/** The schema that the page of the format shows. */
const std::string nodeSchema =
    "/unit/gain        U16[3]    0..63            unit dB  required        \"front end gain\"\n"
    "/unit/mode        CHAR      idle|normal|boost         default normal  \"how it starts\"\n"
    "/board/*/offset   S32[1..8] -200..200\n"
    "/unit/level       S32[1]    default -2147483648\n"
    "/unit/class       U8[1]     default 7\n";

class Generate : public ToolTest
{
protected:
    Generate() { write("node.schema", nodeSchema); }

    std::string header(const std::string& schema)
    {
        write("node.schema", schema);
        EXPECT_EQ(varnix({"generate", "cpp", "-o", "node.h", "node.schema"}).status, 0);
        return read("node.h");
    }

    /** Compiles a client of the header, without a warning. */
    ProcessResult compile(const std::string& body, const std::string& compiler = VARNIX_COMPILER)
    {
        write("client.cpp", "#include \"node.h\"\n"
                            "int main()\n{\n"
                            "    const Node::Parameters parameters(nullptr);\n" +
                                body + "}\n");
        return run({compiler, "-std=c++17", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow",
                    "-Wconversion", "-Wsign-conversion", "-Wold-style-cast", "-Werror",
                    "-fsyntax-only", "-I" VARNIX_SOURCE_DIR "/include",
                    "-I" VARNIX_BINARY_DIR "/include", "client.cpp"},
                   {.directory = m_directory.path()});
    }

    void expectCompiles(const std::string& body)
    {
        for (const std::string compiler : {VARNIX_COMPILER, VARNIX_OTHER_COMPILER}) {
            const ProcessResult result = compile(body, compiler);
            EXPECT_EQ(result.status, 0) << compiler << ": " << result.err;
        }
    }
};

TEST_F(Generate, MakesAHeaderWhoseClientCompilesWithoutAWarning)
{
    header(nodeSchema);
    expectCompiles(
        "    const std::vector<std::uint16_t> gains = parameters.unitGain().value();\n"
        "    const std::string mode = parameters.unitMode().value();\n"
        "    const Varnix::Kit::Parameter<std::vector<std::int32_t>> offset =\n"
        "        parameters.boardOffset(\"1\");\n"
        "    const std::int32_t level = parameters.unitLevel().value();\n"
        "    return gains.empty() || mode.empty() || offset.value().empty() || level == 0 ||\n"
        "           parameters.unitClass().value() == 0;\n");
}

TEST_F(Generate, RefusesAClientWithAKeyThatTheSchemaLacks)
{
    header(nodeSchema);
    const ProcessResult result = compile("    return parameters.unitGian().value().empty();\n");
    EXPECT_NE(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("unitGian"));
}

TEST_F(Generate, RefusesAClientWithAnotherType)
{
    header(nodeSchema);
    for (const char* body :
         {"    const std::vector<std::uint8_t> gains = parameters.unitGain().value();\n",
          "    const Varnix::Kit::Parameter<std::uint16_t> gain = parameters.unitGain();\n",
          "    const int mode = parameters.unitMode().value();\n",
          "    return parameters.boardOffset().value().empty();\n"})
        EXPECT_NE(compile(body).status, 0) << body;
}

TEST_F(Generate, TakesNamesAndTextsThatCppDoesNot)
{
    header("/class U8[1]\n/0/1st U8[1]\n/Parameters U8[1]\n/unix U8[1]\n"
           "/text CHAR default \"a\\\"\\\\?\?/\\x00\\n1\\xff\" \"ends */ here /* \\\\\"\n"
           "/a/*/b*c/[xy]/? U8[1]\n/list S8 default 1 -128\n");
    expectCompiles("    return parameters.class_().value() + parameters.key01st().value() +\n"
                   "           parameters.Parameters_().value() + parameters.unix_().value() +\n"
                   "           parameters.aBCXy(\"1\", \"2\", 'x', '3').value() +\n"
                   "           static_cast<int>(parameters.text().value().size() +\n"
                   "                            parameters.list().value().size());\n");
}

TEST_F(Generate, GivesEveryParameterItsKeyAndDefault)
{
    const std::string text = header(nodeSchema);
    EXPECT_THAT(text, HasSubstr("(m_database, \"/unit/mode\", std::string(\"normal\", 6));"));
    EXPECT_THAT(text, HasSubstr("(m_database, std::string() + \"/board/\" + part1 + "
                                "\"/offset\");"));
    EXPECT_THAT(text, HasSubstr("/** front end gain; /unit/gain U16[3]; 0..63; in dB; required "
                                "(node.schema:1) */"));
}

TEST_F(Generate, MarksADeprecatedParameter)
{
    header("/old U8[1] deprecated\n");
    const ProcessResult result = compile("    return parameters.old().value();\n");
    EXPECT_NE(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("deprecated"));
}

TEST_F(Generate, TakesDefaultAndNumberFromEveryLineThatHoldsForAKey)
{
    write("more.schema", "/unit/* U8[1] default 3\n");
    write("node.schema", "/unit/a U8\n");
    const ProcessResult result = varnix({"generate", "cpp", "node.schema", "more.schema"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("(m_database, \"/unit/a\", std::uint8_t{3U});"));
}

TEST_F(Generate, GivesAKeyItsOwnDefaultBeforeThatOfAPattern)
{
    const std::string pattern = "/board/*/offset S32[1] default 5\n";
    const std::string own = "/board/a/offset S32[1] default 7\n";
    for (const std::string& schema : {pattern + own, own + pattern})
        EXPECT_THAT(header(schema), HasSubstr("\"/board/a/offset\", std::int32_t{7});")) << schema;
}

TEST_F(Generate, OfTwoKeysWithOneNameIsInvalidAndWritesNothing)
{
    write("node.schema", "/unit/gain U8\n/unit-gain U8\n/unit_gain U8\n");
    expectResult(varnix({"generate", "cpp", "-o", "node.h", "node.schema"}), 4, "",
                 "node.schema:2:1: error: /unit-gain gives the name unitGain, as /unit/gain does "
                 "(node.schema:1)\n"
                 "node.schema:3:1: error: /unit_gain gives the name unitGain, as /unit/gain does "
                 "(node.schema:1)\n");
    EXPECT_FALSE(exists("node.h"));
}

TEST_F(Generate, OfSchemasThatContradictEachOtherIsInvalid)
{
    write("other.schema", "/unit/mode U8\n/unit/gain U8\n");
    expectResult(varnix({"generate", "markdown", "node.schema", "other.schema"}), 4, "",
                 "other.schema:1:1: error: U8 contradicts CHAR (node.schema:2)\n"
                 "other.schema:2:1: error: U8 contradicts U16 (node.schema:1)\n");
}

TEST_F(Generate, TakesANamespace)
{
    const ProcessResult result =
        varnix({"generate", "cpp", "--namespace", "My::Node", "node.schema"});
    EXPECT_THAT(result.out, HasSubstr("\nnamespace My::Node {\n"));
    EXPECT_THAT(result.out, HasSubstr("#ifndef VARNIX_GENERATED_MY_NODE_H\n"));
    for (const char* name : {"1", "a::", "class", "a b", "_A", "::a", "std", "A::std"})
        expectResult(varnix({"generate", "cpp", "--namespace", name, "node.schema"}), 2, "",
                     std::string("varnix: no namespace: ") + name + '\n');
}

TEST_F(Generate, TakesANamespaceThatIsNamedAsTheLibrarys)
{
    const ProcessResult made =
        varnix({"generate", "cpp", "--namespace", "Node::Varnix", "-o", "node.h", "node.schema"});
    EXPECT_EQ(made.status, 0) << made.err;
    write("node.h", read("node.h") + "namespace Node { using Varnix::Parameters; }\n");
    expectCompiles("    return static_cast<int>(parameters.unitClass().value());\n");
}

TEST_F(Generate, MakesAPageOfTheSchema)
{
    expectResult(varnix({"generate", "markdown", "node.schema"}), 0,
                 "<!-- Made by varnix generate markdown; changes will be lost. -->\n"
                 "\n"
                 "# Parameters of node\\.schema\n"
                 "\n"
                 "| Key | Type | Limits | Unit | Default | | Description |\n"
                 "| --- | --- | --- | --- | --- | --- | --- |\n"
                 "| `/unit/gain` | `U16[3]` | `0..63` | dB |  | required | front end gain |\n"
                 "| `/unit/mode` | `CHAR` | `idle\\|normal\\|boost` |  | `\"normal\"` |  | how it "
                 "starts |\n"
                 "| `/board/*/offset` | `S32[1..8]` | `-200..200` |  |  |  |  |\n"
                 "| `/unit/level` | `S32[1]` |  |  | `-2147483648` |  |  |\n"
                 "| `/unit/class` | `U8[1]` |  |  | `7` |  |  |\n",
                 "");
}

TEST_F(Generate, GivesTheSameBytesFromAnyDirectory)
{
    const std::string path = m_directory / "node.schema";
    for (const char* language : {"cpp", "markdown"})
        EXPECT_EQ(varnix({"generate", language, "node.schema"}).out,
                  varnix({"generate", language, path}).out);
}

TEST_F(Generate, WritesToStandardOutputWhereAsked)
{
    const std::string text = varnix({"generate", "markdown", "node.schema"}).out;
    expectResult(varnix({"generate", "markdown", "-o", "-", "node.schema"}), 0, text, "");
    EXPECT_EQ(files(), 1);
}

TEST_F(Generate, NeverReplacesItsSchema)
{
    expectResult(varnix({"generate", "cpp", "-o", "./node.schema", "node.schema"}), 2, "",
                 "varnix: the output would replace node.schema; name another file with -o\n");
    EXPECT_EQ(read("node.schema"), nodeSchema);
}

} // namespace
} // namespace Varnix::Test

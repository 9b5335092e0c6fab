#include "dbUtils.h"
#include "tests/support/scriptedRead.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/traceSession.h"
#include "tests/support/traceSite.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace Varnix::Backend {
namespace {

using DBUtils::DbConfiguration;
using Test::CallEffect;
using Test::reportedAt;
using Test::ScriptedRead;
using Test::TemporaryDirectory;
using Test::TraceSession;
using testing::ElementsAre;
using testing::Field;

/** A configuration that includes files; paths count from the process's working directory. */
class ConfigInclude : public testing::Test
{
protected:
    ConfigInclude() { std::filesystem::current_path(directory.path()); }
    ~ConfigInclude() override { std::filesystem::current_path(before); }

    static void write(const std::string& name, const std::string& content)
    {
        std::ofstream(name, std::ios::binary) << content;
    }

    /** Writes node.cfg, whose line 2 includes the file. */
    static void include(const std::string& path)
    {
        write("node.cfg", "varnix = { component_versions = (\n@include \"" + path + "\"\n); };\n");
    }

    bool parse() { return DBUtils::parseDbConfigFile("node.cfg", entries); }

    /** Reading node.cfg is refused, and reported once, with these words at this line. */
    void expectRefused(int line, const std::string& words)
    {
        TraceSession::ofThisProcess().take();
        EXPECT_FALSE(parse());
        expectReported(line, words);
    }

    static void expectReported(int line, const std::string& words)
    {
        EXPECT_THAT(
            TraceSession::ofThisProcess().take(),
            ElementsAre(reportedAt("ERROR", "dbUtils.cpp", "describe(*error, configFile)",
                                   "Error when attempting to read file: node.cfg Error on line " +
                                       std::to_string(line) + ": " + words)));
    }

    const std::filesystem::path before = std::filesystem::current_path();
    const TemporaryDirectory directory;
    std::vector<DbConfiguration> entries;
};

const std::string good = R"({ component_id = "a"; revision = "R1"; file_paths = [ "/f" ]; })";

auto named(const std::string& componentId)
{
    return Field("componentId", &DbConfiguration::componentId, componentId);
}

TEST_F(ConfigInclude, PutsTheFileInTheDirectivesPlace)
{
    write("entry", good + "\n");
    include("entry");
    EXPECT_TRUE(parse());
    EXPECT_THAT(entries, ElementsAre(named("a")));
}

TEST_F(ConfigInclude, MayBeNestedTenDeep)
{
    for (int i = 1; i < 10; ++i)
        write(std::to_string(i), "@include \"" + std::to_string(i + 1) + "\"\n");
    write("10", good);
    include("1");
    EXPECT_TRUE(parse());
    EXPECT_THAT(entries, ElementsAre(named("a")));
    write("10", "\n@include \"11\"\n");
    write("11", good);
    expectRefused(2, "include file nesting too deep");
}

TEST_F(ConfigInclude, OfItselfIsNestedTooDeep)
{
    write("node.cfg", "\n@include \"node.cfg\"\n");
    expectRefused(2, "include file nesting too deep");
}

TEST_F(ConfigInclude, OfAnAbsentFileIsRefusedAsLibconfigDoes)
{
    include("absent");
    expectRefused(2, "cannot open include file");
    include("");
    expectRefused(2, "cannot open include file");
}

TEST_F(ConfigInclude, OfWhatIsNoFileIsRefused)
{
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    for (const char* const path : {"pipe", ".", "/dev/zero", "/dev/tty", "/dev/stdin"}) {
        SCOPED_TRACE(path);
        include(path);
        expectRefused(2, "file I/O error");
    }
}

TEST_F(ConfigInclude, OfAFileWhoseReadFailsIsRefused)
{
    include("/proc/self/mem");
    expectRefused(2, "file I/O error");
    write("entry", good);
    include("entry");
    TraceSession::ofThisProcess().take();
    { // around the parsing alone: looking at the trace reads too
        const ScriptedRead script({CallEffect::ordinary(), CallEffect::nothing(),
                                   CallEffect::atMost(5), CallEffect::failing(EIO)});
        EXPECT_FALSE(parse());
        EXPECT_EQ(script.left(), 0U);
    }
    expectReported(2, "file I/O error");
}

TEST_F(ConfigInclude, ThatComesAfterASyntaxErrorIsNotReported)
{
    write("node.cfg", "varnix = %;\n@include \".\"\n");
    expectRefused(1, "syntax error");
}

TEST_F(ConfigInclude, InACommentOrATextIsNone)
{
    write("node.cfg", "/*\n@include \".\"\n*/\n# @include \".\"\nnote = \"\n@include \\\".\\\"\";\n"
                      "varnix = { component_versions = ( { component_id = \"@a\"; "
                      "revision = \"\\@\"; file_paths = \"\"; } ); };\n");
    EXPECT_TRUE(parse());
    ASSERT_THAT(entries, ElementsAre(named("@a")));
    EXPECT_EQ(entries.front().revision, "\\@");
}

TEST_F(ConfigInclude, ErrorsAreAtTheirLineOfTheirFile)
{
    write("part", "\n" + good + ",\n{ component_id = 7; }");
    include("part");
    const auto malformed = DBUtils::readConfigFile("node.cfg", entries);
    ASSERT_TRUE(malformed);
    EXPECT_EQ(malformed->file, "part");
    EXPECT_EQ(malformed->line, 3);

    write("part", good + "\n\n%");
    const auto syntax = DBUtils::readConfigFile("node.cfg", entries);
    ASSERT_TRUE(syntax);
    EXPECT_EQ(syntax->file, "part");
    EXPECT_EQ(syntax->line, 3);

    write("part", good + "\n\n");
    write("node.cfg", "varnix = { component_versions = (\n@include \"part\"\n,\n%");
    const auto after = DBUtils::readConfigFile("node.cfg", entries);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->file, "node.cfg");
    EXPECT_EQ(after->line, 4);
}

TEST_F(ConfigInclude, OfManyFilesEndsAtTheLimitOfAllTogether)
{
    std::string directives;
    for (int i = 0; i < 100; ++i)
        directives += "@include \"leaf\"\n";
    write("leaf", "");
    write("branch", directives);
    std::string branches;
    for (int i = 0; i < 1000; ++i)
        branches += "@include \"branch\"\n";
    write("node.cfg", branches);
    const auto error = DBUtils::readConfigFile("node.cfg", entries);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->reason, "file too large");
}

} // namespace
} // namespace Varnix::Backend

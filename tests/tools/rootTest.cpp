#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <climits>

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

/** A node's files as they stand on it, in the directory "root", whose paths are absolute. */
class Root : public ToolTest
{
protected:
    Root()
    {
        for (const char* directory : {"root/etc", "root/flash"})
            fs::create_directories(m_directory / directory);
        DbBuilder().text("/componentConfigId", "unit_1").write(m_directory / "root/flash/prod.db");
        DbBuilder().u16("/gain", {17}).write(m_directory / "root/flash/unit.db");
        write("root/etc/node.cfg", configText({{"unit", "1", {"/flash/unit.db"}}}));
    }

    ProcessResult atRoot(const std::string& command, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {command, "--root", "root"});
        return varnix(std::move(arguments), {.environment = {firstVariable, secondVariable}});
    }

    ProcessResult gain(const std::string& production = "/flash/prod.db",
                       const std::string& config = "/etc/node.cfg")
    {
        return atRoot("get", {"--production", production, config, "/gain"});
    }
};

TEST_F(Root, IsWhereTheNodesAbsolutePathsAreLookedFor)
{
    expectResult(gain(), 0, "17\n", "");
    const ProcessResult result =
        atRoot("explain", {"--production", "/flash/prod.db", "/etc/node.cfg", "/gain"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Production database: /flash/prod.db (named by --production)\n"
                          "Identities: unit_1\n\n"
                          "Entries of /etc/node.cfg:\n"
                          "  0  line 3  unit_1  matches unit_1\n\n"
                          "Files, the first wins:\n"
                          "  1  /flash/unit.db  entry 0\n\n"
                          "/gain\n"
                          "  production      -\n"
                          "  /flash/unit.db  U16 17\n"
                          "  => a client gets U16 17 from /flash/unit.db\n");
}

TEST_F(Root, HoldsTheProductionDatabaseThatTheEnvironmentNames)
{
    const ProcessResult result =
        varnix({"get", "--root", "root", "/etc/node.cfg", "/gain"},
               {.environment = {firstVariable + std::string("=/flash/prod.db"), secondVariable}});
    expectResult(result, 0, "17\n", "");
}

TEST_F(Root, LeavesRelativePathsAsTheyAre)
{
    DbBuilder().u16("/gain", {18}).write(m_directory / "here.db");
    write("node.cfg", configText({{"unit", "1", {"here.db", "/flash/unit.db"}}}));
    expectResult(atRoot("get", {"--identity", "unit_1", "node.cfg", "/gain"}), 0, "18\n", "");
}

TEST_F(Root, IsWhereAnAbsoluteLinkLeads)
{
    fs::rename(m_directory / "root/flash", m_directory / "root/data");
    fs::create_directory_symlink("/data/", m_directory / "root/flash");
    expectResult(gain(), 0, "17\n", "");
    expectResult(gain("/flash/../data/prod.db"), 0, "17\n", "");
}

TEST_F(Root, LeavesDotsOutOfAPath)
{
    expectResult(gain("/flash/./../flash/prod.db"), 0, "17\n", "");
}

TEST_F(Root, TakesPathsAsLongAsTheKernelDoes)
{
    std::string config = "/etc";
    while (config.size() + std::string("/./node.cfg").size() < PATH_MAX)
        config += "/.";
    config += "/node.cfg";
    config.insert(0, PATH_MAX - 1 - config.size(), '/');
    expectResult(gain("/flash/prod.db", config), 0, "17\n", "");
    const ProcessResult longer = gain("/flash/prod.db", '/' + config);
    EXPECT_EQ(longer.status, 5);
    EXPECT_EQ(longer.err,
              "varnix: no configuration: cannot open root//" + config + ": File name too long\n");
}

TEST_F(Root, FollowsAsManyLinksAsTheKernelDoes)
{
    fs::create_symlink("prod.db", m_directory / "root/flash/1");
    for (int i = 2; i <= 41; ++i)
        fs::create_symlink(std::to_string(i - 1), m_directory / "root/flash" / std::to_string(i));
    expectResult(gain("/flash/40"), 0, "17\n", "");
    expectResult(gain("/flash/41"), 3, "",
                 "varnix: cannot open /flash/41 below root: too many symbolic links\n");
}

TEST_F(Root, IsNotLeftThroughParentDirectories)
{
    DbBuilder().u16("/gain", {18}).write(m_directory / "outside.db");
    write("root/etc/node.cfg", configText({{"unit", "1", {"/../outside.db"}}}));
    EXPECT_EQ(gain().status, 5);
    fs::create_symlink("../../../outside.db", m_directory / "root/flash/link.db");
    write("root/etc/node.cfg", configText({{"unit", "1", {"/flash/link.db"}}}));
    EXPECT_EQ(gain().status, 5);
}

TEST_F(Root, WithLinksInACircleIsUnreadable)
{
    fs::create_symlink("b", m_directory / "root/flash/a");
    fs::create_symlink("a", m_directory / "root/flash/b");
    const ProcessResult result = atRoot("get", {"--identity", "unit_1", "/flash/a", "/gain"});
    expectResult(result, 3, "",
                 "varnix: cannot open /flash/a below root: too many symbolic links\n");
}

TEST_F(Root, HoldsTheFilesThatAConfigurationIncludes)
{
    fs::rename(m_directory / "root/etc/node.cfg", m_directory / "root/etc/versions.cfg");
    write("root/etc/node.cfg", "@include \"/etc/versions.cfg\"\n");
    expectResult(gain(), 0, "17\n", "");
}

TEST_F(Root, NamesTheFileThatIsNotThere)
{
    fs::remove(m_directory / "root/flash/unit.db");
    const ProcessResult result = gain();
    expectResult(result, 5, "",
                 "varnix: a database file that /etc/node.cfg selects cannot be used: cannot open "
                 "root/flash/unit.db: No such file or directory\n");
}

TEST_F(Root, MustBeADirectory)
{
    EXPECT_EQ(varnix({"get", "--root", "absent", "node.cfg", "/gain"}).status, 2);
}

TEST_F(Root, DoesNotGoWithAProcess)
{
    for (const char* option : {"--root", "--production", "--identity"})
        EXPECT_EQ(varnix({"get", option, "root", "--pid", "1", "/gain"}).status, 2) << option;
}

TEST_F(Root, OfExplainWithAllNamesTheFilesThatNoEntryLists)
{
    DbBuilder().write(m_directory / "root/flash/forgotten.db");
    const std::vector<std::string> arguments{"--production", "/flash/prod.db", "/etc/node.cfg"};
    const char* const note = "\n/flash/forgotten.db: note: no entry lists this database file\n";
    EXPECT_THAT(atRoot("explain", arguments).out, Not(HasSubstr(note)));
    EXPECT_THAT(atRoot("explain", {"--all", "--production", "/flash/prod.db", "/etc/node.cfg"}).out,
                HasSubstr(note));
}

/** What a schema says of everything that a client gets. */
class ExplainSchema : public Root
{
protected:
    ProcessResult explain(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--production", "/flash/prod.db", "--schema", "s"});
        arguments.emplace_back("/etc/node.cfg");
        return atRoot("explain", std::move(arguments));
    }
};

TEST_F(ExplainSchema, NamesWhatParametersMustNotBe)
{
    write("s", "/gain U16 0..9\n");
    const ProcessResult result = explain({});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr("\nFindings:\n/flash/unit.db:@0x15: error: 17 is above 9 (s:1)\n"));
}

TEST_F(ExplainSchema, NamesWhatIsRequiredAndAbsent)
{
    write("s", "/gain U16 required\n/gai[n] U16 required\n/label CHAR required\n");
    const ProcessResult result = explain({});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(
        result.out,
        HasSubstr("Findings:\n/etc/node.cfg: error: /label is required and absent (s:3)\n"));
}

TEST_F(ExplainSchema, FindsARequiredKeyInTheProductionDatabase)
{
    write("s", "/componentConfigId CHAR required\n");
    EXPECT_EQ(explain({}).status, 0);
}

TEST_F(ExplainSchema, ClosedNamesTheKeysThatNoLineDescribes)
{
    write("s", "/gain U16\n");
    const ProcessResult result = explain({"--closed"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("/flash/prod.db:@0xb: error: no line of a schema describes "
                                      "\"/componentConfigId\"\n"));
}

TEST_F(ExplainSchema, WithADeprecatedParameterWarns)
{
    write("s", "/gain U16 deprecated\n");
    const ProcessResult result = explain({});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("/flash/unit.db:@0xb: warning: /gain is deprecated (s:1)\n"));
}

TEST_F(ExplainSchema, IsJudgedItself)
{
    write("s", "/gain U16 0..63 default 64\n");
    const ProcessResult result = explain({});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("s:1:25: error: the default: 64 is above 63 (s:1)\n"));
}

TEST_F(ExplainSchema, NamesTheCheckInADocument)
{
    write("s", "/gain U16 0..9\n");
    const auto document = nlohmann::json::parse(explain({"--json"}).out);
    EXPECT_EQ(document["findings"], nlohmann::json::parse(R"x([{"severity": "error",
        "file": "/flash/unit.db", "offset": 21, "check": "range",
        "message": "17 is above 9 (s:1)"}])x"));
}

} // namespace
} // namespace Varnix::Test

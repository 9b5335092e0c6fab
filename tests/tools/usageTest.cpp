#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>
#include <varnix/version.h>

namespace Varnix::Test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class Usage : public ToolTest
{
};

TEST_F(Usage, VersionIsPrinted)
{
    expectResult(varnix({"--version"}), 0, "varnix " VARNIX_VERSION "\n", "");
}

TEST_F(Usage, HelpNamesTheSubcommandsAndTheStatuses)
{
    const ProcessResult result = varnix({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    for (const char* word : {"build", "dump", "diff", "check", "install", "audit", "generate",
                             "get", "explain", "Exit status"})
        EXPECT_THAT(result.out, HasSubstr(word));
}

TEST_F(Usage, EverySubcommandHasHelp)
{
    for (const char* command :
         {"build", "dump", "diff", "check", "install", "audit", "generate", "get", "explain"}) {
        const ProcessResult result = varnix({command, "--help"});
        EXPECT_EQ(result.status, 0) << command;
        EXPECT_THAT(result.out, HasSubstr(command));
        EXPECT_EQ(result.err, "") << command;
    }
}

TEST_F(Usage, WrongCommandLinesMustFail)
{
    const std::vector<std::vector<std::string>> wrong{
        {},
        {"unknown"},
        {"--unknown"},
        {"get", "--type"},
        {"build"},
        {"build", "-o"},
        {"build", "--unknown", "a"},
        {"dump"},
        {"dump", "a", "b"},
        {"diff", "a"},
        {"diff", "a", "b", "c"},
        {"check"},
        {"get"},
        {"get", "node.cfg"},
        {"explain"},
        {"explain", "node.cfg", "--identity"},
    };
    for (const std::vector<std::string>& arguments : wrong) {
        const ProcessResult result = varnix(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_THAT(result.out, IsEmpty());
        EXPECT_THAT(result.err, MatchesRegex("varnix: [^\n]+\nTry varnix [a-z ]*--help.\n"));
    }
}

TEST_F(Usage, WrongUsageOfASubcommandPointsToItsHelp)
{
    EXPECT_THAT(varnix({"get"}).err, EndsWith("\nTry varnix get --help.\n"));
    EXPECT_THAT(varnix({"unknown"}).err, EndsWith("\nTry varnix --help.\n"));
}

TEST_F(Usage, AWrongWordIsNamedWithTheNearestRightOne)
{
    EXPECT_EQ(varnix({"dmup", "a"}).err,
              "varnix: there is no subcommand \"dmup\"; did you mean \"dump\"?\n"
              "Try varnix --help.\n");
    EXPECT_EQ(varnix({"--verison"}).err,
              "varnix: there is no varnix option \"--verison\"; did you mean \"--version\"?\n"
              "Try varnix --help.\n");
    EXPECT_EQ(varnix({"explain", "node.cfg", "--identiy=unit_1"}).err,
              "varnix: there is no explain option \"--identiy\"; did you mean \"--identity\"?\n"
              "Try varnix explain --help.\n");
    EXPECT_THAT(varnix({"dump", "a", "b"}).err, HasSubstr("not expected: b\n"));
    EXPECT_THAT(varnix({"dump", "--\x1b[2J"}).err, HasSubstr("--\\x1b[2J"));
}

TEST_F(Usage, WrongUsageWithJsonIsADocumentToo)
{
    const ProcessResult result = varnix({"dump", "--json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(nlohmann::json::parse(result.out)["errors"][0]["status"], 2);
}

} // namespace
} // namespace Varnix::Test

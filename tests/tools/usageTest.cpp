#include "tests/tools/toolTest.h"

#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <varnix/version.h>

namespace Varnix::Test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

class Usage : public ToolTest
{
};

TEST_F(Usage, VersionIsPrinted)
{
    expectResult(varnix({"--version"}), 0, "varnix " VARNIX_VERSION "\n", "");
}

/** Where lines are broken is the argument parser's. */
std::vector<std::string> wordsOf(const std::string& text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

TEST_F(Usage, TheHelpOfEachCommandSaysWhatIsWrittenForIt)
{
    const std::filesystem::path texts = VARNIX_SOURCE_DIR "/tests/tools/help";
    std::istringstream help(readFile(texts / "varnix.txt"));
    std::string line;
    while (line != "Subcommands:")
        ASSERT_TRUE(std::getline(help, line));
    std::vector<std::vector<std::string>> commands{{}};
    while (std::getline(help, line) && !line.empty())
        commands.push_back({wordsOf(line).front()});
    EXPECT_GT(commands.size(), 10U);
    for (std::vector<std::string>& command : commands) {
        const std::string name = command.empty() ? "varnix" : command.front();
        command.push_back("--help");
        const ProcessResult result = varnix(command);
        EXPECT_EQ(result.status, 0) << name;
        EXPECT_EQ(result.err, "") << name;
        EXPECT_EQ(wordsOf(result.out), wordsOf(readFile(texts / (name + ".txt"))));
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

TEST_F(Usage, ANumberThatMustBePositiveIsSaidToBe)
{
    for (const auto& [option, words] :
         std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"--pid", {"get", "/a"}},
             {"--count", {"watch", "node.cfg", "/a"}},
             {"--every", {"watch", "node.cfg", "/a"}}})
        for (const std::string value : {"0", "-1", "x"}) {
            std::vector<std::string> arguments = words;
            arguments.insert(arguments.begin() + 1, {option, value});
            EXPECT_THAT(varnix(arguments).err, StartsWith("varnix: " + option + ": " + value +
                                                          " is no positive number\n"));
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
    EXPECT_THAT(varnix({"dump", "a", "b\nc"}).err,
                EndsWith(" not expected: b\\nc\nTry varnix dump --help.\n"));
}

TEST_F(Usage, WrongUsageWithJsonIsADocumentToo)
{
    const ProcessResult result = varnix({"dump", "--json"});
    EXPECT_EQ(result.status, 2);
    const std::string message = result.err.substr(0, result.err.size() - 1);
    EXPECT_EQ(nlohmann::json::parse(result.out),
              nlohmann::json({{"errors", {{{"message", message}, {"status", 2}}}}}));
}

TEST_F(Usage, TheValueOfAnOptionAsksForNoDocument)
{
    for (const std::string option : {"--default", "--production", "--identity"}) {
        EXPECT_EQ(varnix({"get", option, "--json", "absent.cfg", "/a"}).out, "") << option;
        EXPECT_NE(varnix({"get", option, "value", "--json", "absent.cfg", "/a"}).out, "") << option;
    }
}

} // namespace
} // namespace Varnix::Test

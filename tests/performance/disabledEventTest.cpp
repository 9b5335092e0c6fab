#include "tests/support/process.h"

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

// The instructions that a release build runs where it could trace and nobody records.

namespace Varnix::Test {

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

/** The instructions of a function from its start to its first return. */
std::vector<std::string> instructionsOf(const std::string& function)
{
    const ProcessResult result =
        run({"objdump", "-d", "--no-show-raw-insn", "--disassemble=" + function, TRACED_FUNCTIONS});
    EXPECT_EQ(result.status, 0) << result.err;
    std::vector<std::string> instructions;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (!std::regex_match(line, found, std::regex(R"(\s*[0-9a-f]+:\t(.*\S)\s*)")))
            continue;
        instructions.push_back(found[1]);
        if (instructions.back() == "ret")
            break;
    }
    return instructions;
}

class DisabledEvent : public testing::TestWithParam<const char*>
{
};

TEST_P(DisabledEvent, CostsALoadATestAndABranchThatIsNotTaken)
{
    EXPECT_THAT(instructionsOf(GetParam()),
                ElementsAre(MatchesRegex("mov .*\\(%rip\\),%eax.*"), "test   %eax,%eax",
                            MatchesRegex("jne .*"), "ret"));
}

INSTANTIATE_TEST_SUITE_P(OfEachLevel, DisabledEvent,
                         testing::Values("tracesError", "tracesInfo", "tracesTrace1"),
                         [](const auto& level) { return std::string(level.param); });

} // namespace

} // namespace Varnix::Test

#include "child.h"
#include "preload.h"
#include "tests/support/nodeDirectory.h"
#include "tests/support/process.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;

/** One call of the varnix command, with what it does when nothing fails. */
struct ToolCase
{
    const char* name;
    std::vector<std::string> arguments;
    int status = 0;
};

const std::vector<ToolCase> toolCases = {
    {"build", {"build", "-o", "out.db", "source.txt"}},
    {"dump", {"dump", "a.db"}},
    {"diff", {"diff", "a.db", "b.db"}, 1},
    {"check", {"check", "a.db", "b.db"}},
    {"get", {"get", "node.cfg", "/unit/text", "/u16"}},
    {"explain", {"explain", "node.cfg", "/unit/text"}},
    {"dumpDocument", {"dump", "--json", "a.db"}},
    {"getDocument", {"get", "--json", "node.cfg", "/unit/text", "/u16"}},
    {"explainDocument", {"explain", "--json", "node.cfg", "/unit/text"}},
};

constexpr int unreadable = 3;
constexpr int nodeUnusable = 5;
constexpr std::size_t all = Fault::all;

class ToolFault : public testing::TestWithParam<ToolCase>
{
protected:
    ToolFault()
    {
        const DbBuilder component =
            DbBuilder().text("/unit/text", "a text that is longer than small").u16("/u16", {1, 2});
        m_node.production(DbBuilder().text("/componentConfigId", "board-x_R2B").extra(unreadRest));
        m_node.database("a.db", component);
        m_node.database("b.db", DbBuilder(component).u8("/more", {1}));
        m_node.configuration("node.cfg", {{"board-*", "R2*", {(m_node / "a.db").string()}}});
        writeFile(m_node / "source.txt", "/unit/text CHAR \"x\"\n/u16 U16 1 2\n");
        reset();
        m_expected = runTool({});
        m_built = readFile(m_node / "out.db");
        EXPECT_EQ(m_expected.status, GetParam().status) << m_expected.err;
    }

    void reset() const { writeFile(m_node / "out.db", "old"); }

    ProcessResult runTool(std::vector<std::string> environment) const
    {
        std::vector<std::string> command = GetParam().arguments;
        command.insert(command.begin(), VARNIX_TOOL);
        environment.push_back("VARNIX_ITC_DIR=" + (m_node / "itc").string());
        return run(command, {.directory = m_node / "", .environment = std::move(environment)});
    }

    /** Runs the tool with the `first` such call failing; returns whether there was one. */
    bool strike(const Fault& fault, std::size_t first)
    {
        reset();
        const ProcessResult result = runTool(m_report.environment(fault, first));
        const testing::ScopedTrace trace(__FILE__, __LINE__, describe(fault, first));
        expectWholeOrRefused(result);
        const bool struck = m_report.struck() || HasFailure();
        m_failures += struck ? 1 : 0;
        return struck;
    }

    void expectWholeOrRefused(const ProcessResult& result) const
    {
        EXPECT_EQ(result.signal, 0) << result.err;
        const bool whole =
            result.status == m_expected.status && answerIn(result.out) == answerIn(m_expected.out);
        const bool refused = (result.status == unreadable || result.status == nodeUnusable) &&
                             (!result.err.empty() || isExplained(result.out));
        EXPECT_TRUE(whole || refused)
            << "status " << result.status << ", out " << result.out << ", err " << result.err;
        const std::string content = readFile(m_node / "out.db");
        EXPECT_TRUE(content == m_built || content == "old")
            << "the output is neither whole nor old";
        EXPECT_TRUE(result.status != 0 || content == m_built) << "status 0 without the output";
        for (const fs::directory_entry& entry : fs::directory_iterator(m_node / ""))
            EXPECT_NE(entry.path().extension(), ".tmp") << "a temporary file stays";
    }

    /** What explain finds beside its answer depends on files that the answer does not. */
    static std::string answerIn(const std::string& out)
    {
        return out.substr(0, std::min(out.find("\nFindings:"), out.find("\"findings\"")));
    }

    /** Whether the output is that of explain and says what cannot be used. */
    static bool isExplained(const std::string& out)
    {
        return GetParam().arguments.front() == "explain" &&
               out.find("cannot be used") != std::string::npos;
    }

    /** Every index, or a share that is denser at the start. */
    void strikeAll(const Fault& fault)
    {
        for (std::size_t first = 0; !HasFailure() && strike(fault, first);)
            first = next(first);
    }

    const NodeDirectory m_node;
    const FaultReport m_report;
    ProcessResult m_expected;
    std::string m_built;
    std::size_t m_failures = 0;
};

TEST_P(ToolFault, ToolThatRunsOutOfMemoryEndsWithItsStatus)
{
    strikeAll({.call = "new"});
    strikeAll({.call = "new", .count = all});
    std::printf("%s: %zu failed allocations\n", GetParam().name, m_failures);
}

const std::vector<Fault> toolFaults = {
    {"open", EMFILE},  {"open", EACCES},   {"fopen", EMFILE},
    {"read", EIO},     {"read", EINTR},    {"read"},
    {"read", 0, all},  {"write", EIO},     {"write", EINTR},
    {"write", ENOSPC}, {"write"},          {"write", 0, all},
    {"writev", EIO},   {"fstat", EIO},     {"lseek", EINVAL},
    {"fsync", EIO},    {"close", EIO},     {"rename", EXDEV},
    {"mkdir", EACCES}, {"socket", EMFILE}, {"epoll_create1", EMFILE},
};

TEST_P(ToolFault, ToolWhoseCallFailsLeavesNothingHalf)
{
    for (const Fault& fault : toolFaults)
        strikeAll(fault);
    std::printf("%s: %zu failed calls\n", GetParam().name, m_failures);
}

INSTANTIATE_TEST_SUITE_P(EachCommand, ToolFault, testing::ValuesIn(toolCases),
                         [](const auto& tool) { return std::string(tool.param.name); });

} // namespace
} // namespace Varnix::Test

#include "toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {

namespace {

using testing::ContainsRegex;

/** The command as it is built for a node. */
class NodeTool : public ToolTest
{
protected:
    ProcessResult onNode(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), VARNIX_NODE_TOOL);
        return run(arguments);
    }

    const std::string message =
        "varnix: the subscription server of a node takes words from the node's own command line "
        "alone; varnix try says what they would do";
};

TEST_F(NodeTool, HandsWordsToNoServer)
{
    const ProcessResult result = onNode({"write", "db", "write", "/unit/gain", "-i", "1", "9"});
    expectResult(result, 5, "", message + "\n");
}

TEST_F(NodeTool, SaysSoInADocumentToo)
{
    const ProcessResult result = onNode({"write", "--json", "db", "write", "/unit/gain", "9"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(nlohmann::json::parse(result.out),
              nlohmann::json({{"errors", {{{"message", message}, {"status", 5}}}}}));
}

TEST_F(NodeTool, SaysInItsHelpThatWordsGoElsewhere)
{
    const ProcessResult result = onNode({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                ContainsRegex("\n  write +Not here: on a node its own command line writes\n"));
}

} // namespace

} // namespace Varnix::Test

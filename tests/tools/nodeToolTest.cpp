#include "toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {

namespace {

using testing::HasSubstr;

/** The command as it is built for a node. */
class NodeTool : public ToolTest
{
protected:
    ProcessResult onNode(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), VARNIX_NODE_TOOL);
        return run(arguments);
    }
};

TEST_F(NodeTool, HandsWordsToNoServer)
{
    const ProcessResult result = onNode({"write", "db", "write", "/unit/gain", "-i", "1", "9"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("the node's own command line alone; varnix try says"));
}

TEST_F(NodeTool, SaysSoInADocumentToo)
{
    const ProcessResult result = onNode({"write", "--json", "db", "write", "/unit/gain", "9"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(nlohmann::json::parse(result.out)["errors"][0]["status"], 5);
}

} // namespace

} // namespace Varnix::Test

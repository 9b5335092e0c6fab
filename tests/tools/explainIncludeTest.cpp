#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using Json = nlohmann::json;
using testing::HasSubstr;

/** A configuration with an entry of its own, and one in a file that it includes. */
class ExplainInclude : public ToolTest
{
protected:
    ExplainInclude()
    {
        DbBuilder().text("/componentConfigId", "unit_1").write(m_directory / "prod.db");
        DbBuilder().u8("/a", {1}).write(m_directory / "unit.db");
        write("node.cfg",
              "varnix = { component_versions = (\n"
              "{ component_id = \"unit\"; revision = \"1\"; file_paths = [\"unit.db\"]; },\n"
              "@include \"more.cfg\"\n"
              "); };\n");
        write("more.cfg",
              "\n{ component_id = \"spare\"; revision = \"1\"; file_paths = [\"absent.db\"]; }\n");
    }

    ProcessResult explain(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "explain");
        return varnix(std::move(arguments),
                      {.environment = {std::string(secondVariable) + "=prod.db", firstVariable}});
    }
};

TEST_F(ExplainInclude, AnEntryIsShownWithTheFileThatItIsIn)
{
    const std::string out = explain({"node.cfg"}).out;
    EXPECT_THAT(out, HasSubstr("  0  line 2  unit_1  matches unit_1\n"));
    EXPECT_THAT(out, HasSubstr("  1  more.cfg line 2  spare_1  matches nothing\n"));
}

TEST_F(ExplainInclude, AFindingNamesTheFileThatTheEntryIsIn)
{
    const ProcessResult result = explain({"--all", "node.cfg"});
    EXPECT_THAT(result.out + result.err,
                HasSubstr("more.cfg:2: note: entry 1: spare_1 matches none of the identities\n"));
    EXPECT_THAT(result.out + result.err, HasSubstr("more.cfg:2: warning: entry 1 lists a file"));
}

TEST_F(ExplainInclude, TheDocumentNamesTheFileOfEachEntry)
{
    const Json entries = Json::parse(explain({"--json", "node.cfg"}).out)["entries"];
    EXPECT_EQ(entries[0]["file"], "node.cfg");
    EXPECT_EQ(entries[1]["file"], "more.cfg");
    EXPECT_EQ(entries[1]["line"], 2);
}

} // namespace
} // namespace Varnix::Test

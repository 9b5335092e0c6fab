#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

namespace Varnix::Test {
namespace {

using namespace std::string_literals;

/** What explain says of an unusual node, whole. */
class ExplainFindings : public ToolTest
{
protected:
    ProcessResult explain(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"explain", "node.cfg"});
        return varnix(std::move(arguments),
                      {.environment = {secondVariable + "=prod.db"s, firstVariable}});
    }

    const std::string m_node = "Production database: prod.db (named by sys_uflash_prod_db_dev)\n"
                               "Identities: unit_1\n"
                               "\n"
                               "Entries of node.cfg:\n";
};

TEST_F(ExplainFindings, NodeThatSelectsNoFileHasItsProductionDatabaseAlone)
{
    DbBuilder()
        .text("/componentConfigId", "unit_1")
        .u8("/only", {1})
        .write(m_directory / "prod.db");
    write("node.cfg", "varnix: { component_versions = (); };\n");
    expectResult(explain({"/only"}), 0,
                 m_node + "\n"
                          "Files, the first wins:\n"
                          "\n"
                          "/only\n"
                          "  production  U8 1\n"
                          "  => a client gets U8 1 from the production database\n"
                          "\n"
                          "Findings:\n"
                          "node.cfg: warning: no file is selected: a client finds only what the "
                          "production database holds\n",
                 "");
}

/** What is shown of the node of values that not every read accepts. */
const std::string unusual =
    "  0  line 3  unit_1  matches unit_1\n"
    "  1  line 4  un*_1  matches unit_1\n"
    "  2  line 5  unit_2  matches nothing\n"
    "  3  line 6  u*_1  matches unit_1\n"
    "\n"
    "Files, the first wins:\n"
    "  1  unit.db  entry 0, again in entry 1, entry 3\n"
    "\n"
    "/empty\n"
    "  production  empty, without a type\n"
    "  unit.db     U8 1\n"
    "  => a client gets a type mismatch from every read: in the production "
    "database it is empty, without a type\n"
    "\n"
    "/unnamed\n"
    "  production  9 \"x\"\n"
    "  unit.db     S16 2\n"
    "  => a client gets a type mismatch from every read: in the production "
    "database it is 9 \"x\"\n"
    "\n"
    "/part\n"
    "  production  -\n"
    "  unit.db     4 \"\\x00\\x00\\x00\"\n"
    "  => a client gets U16 0 from unit.db\n"
    "\n"
    "Findings:\n"
    "node.cfg:5: note: entry 2: unit_2 matches none of the identities\n"
    "unit.db: warning: the file holds what it must not; varnix check names "
    "it\n"
    "prod.db: warning: /empty: an empty value without a type here hides U8 "
    "in unit.db: a client that reads U8 gets a type mismatch\n"
    "prod.db: warning: /unnamed: type 9 here hides S16 in unit.db: a client "
    "that reads S16 gets a type mismatch\n";

TEST_F(ExplainFindings, UnusualValueIsShownWithWhatAClientGets)
{
    DbBuilder()
        .text("/componentConfigId", "unit_1")
        .u8("/empty", {})
        .record({.key = "/unnamed", .type = 9, .data = "x"})
        .write(m_directory / "prod.db");
    DbBuilder()
        .u8("/empty", {1})
        .s16("/unnamed", {2})
        .record({.key = "/part", .type = 4, .data = std::string(3, '\0')})
        .write(m_directory / "unit.db");
    write("node.cfg", configText({{"unit", "1", {"unit.db"}},
                                  {"un*", "1", {"unit.db"}},
                                  {"unit", "2", {"unit.db"}},
                                  {"u*", "1", {"unit.db"}}}));
    expectResult(explain({"/empty", "/unnamed", "/part"}), 1, m_node + unusual, "");
}

TEST_F(ExplainFindings, EntryThatListsAFileTwiceIsNamedOnce)
{
    DbBuilder().text("/componentConfigId", "unit_1").write(m_directory / "prod.db");
    DbBuilder().u8("/gain", {1}).write(m_directory / "unit.db");
    write("node.cfg",
          configText({{"unit", "1", {"unit.db"}}, {"un*", "1", {"unit.db", "unit.db"}}}));
    expectResult(explain({}), 0,
                 m_node + "  0  line 3  unit_1  matches unit_1\n"
                          "  1  line 4  un*_1  matches unit_1\n"
                          "\n"
                          "Files, the first wins:\n"
                          "  1  unit.db  entry 0, again in entry 1\n",
                 "");
}

TEST_F(ExplainFindings, EntryWhosePathIsNoListListsNoFile)
{
    DbBuilder().text("/componentConfigId", "unit_1").write(m_directory / "prod.db");
    DbBuilder().u8("/gain", {1}).write(m_directory / "unit.db");
    write("node.cfg",
          "varnix: { component_versions = (\n"
          "{ component_id = \"unit\"; revision = \"1\"; file_paths = \"unit.db\"; },\n"
          "{ component_id = \"un*\"; revision = \"1\"; file_paths = [ \"unit.db\" ]; }\n"
          "); };\n");
    expectResult(explain({}), 0,
                 m_node + "  0  line 2  unit_1  matches unit_1\n"
                          "  1  line 3  un*_1  matches unit_1\n"
                          "\n"
                          "Files, the first wins:\n"
                          "  1  unit.db  entry 1\n"
                          "\n"
                          "Findings:\n"
                          "node.cfg:2: note: entry 0 lists no file; a path counts only in a list: "
                          "file_paths = [ \"unit.db\" ]\n",
                 "");
}

} // namespace
} // namespace Varnix::Test

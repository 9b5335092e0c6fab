#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using namespace std::string_literals;
using Json = nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/** A node of two matching entries, which share a file, and one that does not match. */
class Explain : public ToolTest
{
protected:
    Explain()
    {
        DbBuilder()
            .text("/componentConfigId", "board-x_R2B unit_1")
            .u8("/fixed", {1})
            .text("/hidden", "x")
            .write(m_directory / "prod.db");
        DbBuilder().u16("/gain", {17}).u8("/fixed", {2}).write(m_directory / "unit.db");
        DbBuilder().u16("/gain", {1}).u8("/hidden", {3}).write(m_directory / "common.db");
        DbBuilder().u16("/gain", {2}).s8("/only", {-4}).write(m_directory / "board.db");
        DbBuilder().u16("/gain", {9}).u8("/spare", {5}).write(m_directory / "spare.db");
        write("node.cfg", configText({{"unit", "1", {"unit.db", "common.db"}},
                                      {"board-*", "R2?", {"common.db", "board.db"}},
                                      {"unit", "2", {"spare.db"}}}));
    }

    ProcessResult explain(std::vector<std::string> arguments,
                          std::vector<std::string> production = {secondVariable + "=prod.db"s,
                                                                 firstVariable})
    {
        arguments.insert(arguments.begin(), "explain");
        return varnix(std::move(arguments), {.environment = std::move(production)});
    }

    Json answer(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "--json");
        return Json::parse(explain(std::move(arguments)).out);
    }

    Json client(const std::string& key) { return answer({"node.cfg", key})["keys"][0]["client"]; }
};

TEST_F(Explain, ShowsTheWholeWayFromTheNodeToTheValue)
{
    expectResult(explain({"node.cfg", "/gain"}), 0,
                 "Production database: prod.db (named by sys_uflash_prod_db_dev)\n"
                 "Identities: board-x_R2B unit_1\n"
                 "\n"
                 "Entries of node.cfg:\n"
                 "  0  line 3  unit_1  matches unit_1\n"
                 "  1  line 4  board-*_R2?  matches board-x_R2B\n"
                 "  2  line 5  unit_2  matches nothing\n"
                 "\n"
                 "Files, the first wins:\n"
                 "  1  unit.db  entry 0\n"
                 "  2  common.db  entry 0, again in entry 1\n"
                 "  3  board.db  entry 1\n"
                 "\n"
                 "/gain\n"
                 "  production  -\n"
                 "  unit.db     U16 17\n"
                 "  common.db   U16 1\n"
                 "  board.db    U16 2\n"
                 "  spare.db    U16 9  (not selected)\n"
                 "  => a client gets U16 17 from unit.db\n"
                 "\n"
                 "Findings:\n"
                 "node.cfg:5: note: entry 2: unit_2 matches none of the identities\n"
                 "node.cfg:5: note: no entry that matches lists spare.db\n"
                 "prod.db: warning: /hidden: CHAR here hides U8 in common.db: a client that reads "
                 "U8 gets a type mismatch\n",
                 "");
}

TEST_F(Explain, EmptyRecordIsNamedOnlyWhereItChangedSomething)
{
    DbBuilder().u16("/gain", {}).write(m_directory / "unit.db");
    DbBuilder().u16("/gain", {}).write(m_directory / "common.db");
    EXPECT_EQ(client("/gain"), Json::parse(R"({"result": "value", "production": false,
        "file": "common.db", "type": "U16", "value": []})"));
    DbBuilder().u16("/gain", {}).write(m_directory / "board.db");
    EXPECT_EQ(client("/gain")["result"], "type mismatch");
    EXPECT_EQ(client("/gain")["file"], "board.db");
}

TEST_F(Explain, ShowsNothingFromFilesThatATerminalWouldActOn)
{
    const std::string hostile = "\033]0;x\a\n9  line 1\x9B";
    DbBuilder()
        .text("/componentConfigId", "unit_1 " + hostile)
        .u8("/" + hostile, {1})
        .write(m_directory / "prod.db");
    write("unit.db", "");
    DbBuilder().text("/" + hostile, hostile).u8("/gain", {1}).write(m_directory / hostile);
    DbBuilder().u8("/gain", {1}).write(m_directory / ("2" + hostile));
    write(hostile + "cfg",
          configText({{"unit", "1", {hostile, "absent" + hostile}}, {hostile, "1", {hostile}}}));
    const ProcessResult result = explain({"--all", hostile + "cfg", "/gain", hostile});
    EXPECT_EQ(result.status, 5);
    for (const std::string& output : {result.out, result.err})
        for (const char c : output)
            ASSERT_TRUE(c == '\n' || (c >= ' ' && c < '\x7F')) << output;
    EXPECT_THAT(result.out, Not(HasSubstr("\n9  line 1")));
    EXPECT_THAT(result.out, HasSubstr("\\x1b]0;x\\x07\\n9  line 1\\x9b"));
}

TEST_F(Explain, EarliestFileWins)
{
    EXPECT_EQ(client("/gain"), Json::parse(R"({"result": "value", "production": false,
        "file": "unit.db", "type": "U16", "value": [17]})"));
    EXPECT_EQ(client("/only")["file"], "board.db");
}

TEST_F(Explain, ProductionHidesWhatTheComponentsHold)
{
    EXPECT_EQ(client("/fixed"), Json::parse(R"({"result": "value", "production": true,
        "file": "prod.db", "type": "U8", "value": [1]})"));
}

TEST_F(Explain, ProductionOfAnotherTypeIsAMismatchForReadersOfTheComponentsType)
{
    EXPECT_EQ(client("/hidden"), Json::parse(R"({"result": "value", "production": true,
        "file": "prod.db", "type": "CHAR", "value": "x", "hiddenType": 2})"));
    EXPECT_THAT(explain({"node.cfg", "/hidden"}).out,
                HasSubstr("=> a client gets CHAR \"x\" from the production database, and a type "
                          "mismatch when it reads the components' type\n"));
}

TEST_F(Explain, KeyOfAFileThatIsNotSelectedIsAbsentAndTheFileNamed)
{
    const ProcessResult result = explain({"node.cfg", "/spare"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, AllOf(HasSubstr("spare.db    U8 5  (not selected)"),
                                  HasSubstr("=> a client finds no such key")));
}

TEST_F(Explain, LastRecordOfAKeyInAFileCounts)
{
    DbBuilder().u8("/twice", {1}).u16("/twice", {2}).write(m_directory / "unit.db");
    EXPECT_EQ(client("/twice")["value"], Json({2}));
    EXPECT_THAT(explain({"node.cfg"}).out,
                HasSubstr("unit.db: warning: the file holds what it must not"));
}

TEST_F(Explain, EmptyRecordTakesAValueAwayAndLeavesItsType)
{
    DbBuilder().u8("/gain", {}).write(m_directory / "unit.db");
    EXPECT_EQ(client("/gain"), Json::parse(R"({"result": "value", "production": false,
        "file": "unit.db", "type": "U16", "value": []})"));
}

TEST_F(Explain, KeyWithNothingButAnEmptyRecordIsAcceptedByNoRead)
{
    DbBuilder().u8("/empty", {}).write(m_directory / "unit.db");
    const ProcessResult result = explain({"node.cfg", "/empty"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr("  unit.db     empty, without a type\n"
                          "  => a client gets a type mismatch from every read: in unit.db it is "
                          "empty, without a type\n"));
}

TEST_F(Explain, IdentitiesOfTheCommandLineNeedNoProductionDatabase)
{
    const ProcessResult result =
        explain({"node.cfg", "--identity", "unit_2", "/spare"}, {firstVariable, secondVariable});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, AllOf(StartsWith("Production database: none: neither "),
                                  HasSubstr("\nIdentities: unit_2\n"),
                                  HasSubstr("=> a client gets U8 5 from spare.db\n")));
}

TEST_F(Explain, IdentitiesOfTheCommandLineReplaceTheNodesAndKeepItsValues)
{
    const Json document =
        answer({"--identity", "unit_1", "--identity", "unit_2", "node.cfg", "/fixed", "/spare"});
    EXPECT_EQ(document["identities"], Json({"unit_1", "unit_2"}));
    EXPECT_EQ(document["keys"][0]["client"]["value"], Json({1}));
    EXPECT_EQ(document["keys"][1]["client"]["file"], "spare.db");
}

TEST_F(Explain, AllExplainsEveryKeyThatAClientCouldAskFor)
{
    std::vector<std::string> keys;
    const Json document = answer({"--all", "node.cfg"});
    for (const Json& key : document["keys"])
        keys.push_back(key["key"]);
    EXPECT_THAT(keys,
                testing::ElementsAre("/componentConfigId", "/fixed", "/gain", "/hidden", "/only"));
}

TEST_F(Explain, DocumentHoldsEntriesAndFilesWithTheirPlaces)
{
    const Json document = answer({"node.cfg"});
    EXPECT_EQ(document["production"],
              Json({{"path", "prod.db"}, {"variable", "sys_uflash_prod_db_dev"}}));
    EXPECT_EQ(document["entries"][1], Json::parse(R"({"index": 1, "file": "node.cfg", "line": 4,
        "pattern": "board-*_R2?", "matches": ["board-x_R2B"], "files": ["common.db", "board.db"]})"));
    EXPECT_EQ(document["files"][1], Json::parse(R"({"path": "common.db", "selected": true,
        "listings": [{"entry": 0, "position": 1}, {"entry": 1, "position": 0}], "problem": null})"));
    EXPECT_EQ(document["files"][3]["selected"], false);
    EXPECT_EQ(document["errors"], Json::array());
}

TEST_F(Explain, SelectedFileThatIsMissingLeavesAClientNothing)
{
    std::filesystem::remove(m_directory / "common.db");
    const ProcessResult result = explain({"node.cfg", "/gain"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("=> a client gets no database: a selected file cannot be used\n"),
                      HasSubstr("node.cfg:3: error: entry 0 lists a file that cannot be used: "
                                "cannot open common.db: No such file or directory\n")));
}

TEST_F(Explain, AnUnusableNodeIsAnErrorOfTheDocument)
{
    std::filesystem::remove(m_directory / "common.db");
    const std::string message = "varnix: a database file that node.cfg selects cannot be used: "
                                "cannot open common.db: No such file or directory";
    const ProcessResult result = explain({"--json", "node.cfg"});
    EXPECT_EQ(result.err, message + '\n');
    EXPECT_EQ(Json::parse(result.out).at("errors"),
              Json::array({{{"message", message}, {"status", 5}}}));
    EXPECT_EQ(explain({"node.cfg"}).err, message + '\n');
}

TEST_F(Explain, SelectedFileThatIsCorruptIsNotCalledMissing)
{
    std::string image = read("board.db");
    image[12] = '?';
    write("board.db", image);
    const ProcessResult result = explain({"node.cfg"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out, AllOf(HasSubstr("node.cfg:4: error: entry 1 lists a file that cannot "
                                            "be used: board.db:@0x"),
                                  HasSubstr("the checksum does not match")));
}

TEST_F(Explain, MissingFileThatIsNotSelectedDoesNoHarm)
{
    std::filesystem::remove(m_directory / "spare.db");
    const ProcessResult result = explain({"node.cfg"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("node.cfg:5: warning: entry 2 lists a file that cannot"));
}

TEST_F(Explain, WithAllFindsADatabaseFileThatNoEntryLists)
{
    DbBuilder().write(m_directory / "forgotten.db");
    write("notes.db", "no database");
    EXPECT_THAT(explain({"--all", "node.cfg"}).out,
                AllOf(HasSubstr("\nforgotten.db: note: no entry lists this database file\n"),
                      Not(HasSubstr("notes.db"))));
}

TEST_F(Explain, SecondProductionDatabaseIsNamedWhenItServes)
{
    const ProcessResult result =
        explain({"node.cfg"}, {firstVariable + "=absent"s, secondVariable + "=prod.db"s});
    EXPECT_THAT(result.out,
                StartsWith("Production database: prod.db (named by sys_uflash_prod_db_dev)\n"));
}

TEST_F(Explain, ProductionDatabaseThatReachesOutsideItselfIsNotReplacedByTheSecond)
{
    write("outside.db", imageThatReachesOutside());
    const ProcessResult result =
        explain({"node.cfg"}, {firstVariable + "=outside.db"s, secondVariable + "=prod.db"s});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, AllOf(HasSubstr("sys_uflash_prod_db_dev_dev: outside.db:@0x13: error"),
                                  Not(HasSubstr("sys_uflash_prod_db_dev:"))));
}

TEST_F(Explain, FileThatReachesOutsideItselfCannotBeUsed)
{
    write("unit.db", imageThatReachesOutside());
    const Json document = answer({"node.cfg", "/a"});
    EXPECT_THAT(document["files"][0]["problem"].get<std::string>(),
                StartsWith("unit.db:@0x13: error: a record of 16777223 bytes"));
    EXPECT_EQ(document["keys"][0]["client"]["result"], "no database");
}

TEST_F(Explain, ValueThatReachesPastTheRecordsIsWhatAClientGets)
{
    write("unit.db", imageThatOverlaps());
    EXPECT_EQ(client("/b")["value"], "0123456789ABCD");
}

TEST_F(Explain, WithoutAProductionDatabaseSaysWhatToDo)
{
    expectResult(explain({"node.cfg"}, {firstVariable, secondVariable}), 5, "",
                 "varnix: no production database: neither sys_uflash_prod_db_dev_dev nor "
                 "sys_uflash_prod_db_dev is set in the environment\n"
                 "Name one in the environment, or give identities with --identity.\n");
}

TEST_F(Explain, WithoutIdentitiesSaysWhatToDo)
{
    DbBuilder().u8("/fixed", {1}).write(m_directory / "prod.db");
    expectResult(explain({"node.cfg"}), 5, "",
                 "varnix: no identities: the production database prod.db holds no text at "
                 "/componentConfigId\nAdd it to its source, or give identities with --identity.\n");
}

TEST_F(Explain, AbsentConfigurationSaysSo)
{
    expectResult(explain({"absent.cfg"}), 5, "",
                 "varnix: no configuration: cannot open absent.cfg: No such file or directory\n");
}

TEST_F(Explain, WrongConfigurationSaysWhere)
{
    write("node.cfg", "varnix: {\n  component_versions = (;\n");
    expectResult(explain({"node.cfg"}), 4, "", "node.cfg:2: error: syntax error\n");
}

TEST_F(Explain, WrongEntryIsNamedWithItsLine)
{
    write("node.cfg", "varnix: { component_versions = (\n  { component_id = \"a\"; } ); };\n");
    const ProcessResult result = explain({"node.cfg"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err, StartsWith("node.cfg:2: error: Failed to get non-null revision"));
}

TEST_F(Explain, CutProductionDatabaseIsReportedAndNotWaitedFor)
{
    write("prod.db", read("prod.db").substr(0, 40));
    const ProcessResult result = explain({"node.cfg"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, HasSubstr("prod.db:@0x28: error: the file ends early"));
}

TEST_F(Explain, FailureAsJsonIsADocumentToo)
{
    EXPECT_EQ(answer({"absent.cfg"})["errors"][0]["status"], 5);
}

} // namespace
} // namespace Varnix::Test

#include "auditFixture.h"
#include "tests/support/child.h"
#include "tests/support/processState.h"

#include <thread>

#include <sys/stat.h>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string oneGood = "1 node: 1 good, 0 with findings, 0 not judged; 0 errors, 0 warnings, "
                            "0 notes\n";

TEST_F(Audit, OfGoodNodesFindsNothing)
{
    expectResult(audit({"n1", "n2", "n3"}), 0,
                 "3 nodes: 3 good, 0 with findings, 0 not judged; 0 errors, 0 warnings, 0 notes\n",
                 "");
}

TEST_F(Audit, LeadsEachFindingWithItsNode)
{
    makeNode("n2", DbBuilder().u16("gain", {17}));
    DbBuilder().write(m_directory / "n3/flash/forgotten.db");
    expectResult(audit({"n1", "n2", "n3"}), 1,
                 "n2: /flash/unit.db:@0xb: error: the key \"gain\" does not begin with \"/\"\n"
                 "n3: /flash/forgotten.db: note: no entry lists this database file\n"
                 "3 nodes: 2 good, 1 with findings, 0 not judged; 1 error, 0 warnings, 1 note\n",
                 "");
}

TEST_F(Audit, HoldsNodesAgainstSchemas)
{
    write("s", "/gain U16 0..9\n/label CHAR required\n");
    expectResult(audit({"--schema", "s", "n1"}), 1,
                 "n1: /flash/unit.db:@0x15: error: 17 is above 9 (s:1)\n"
                 "n1: /etc/node.cfg: error: /label is required and absent (s:2)\n"
                 "1 node: 0 good, 1 with findings, 0 not judged; 2 errors, 0 warnings, 0 notes\n",
                 "varnix: varnix-schema(5) explains these checks: range, required\n");
}

TEST_F(Audit, JudgesTheSchemasThemselvesOnce)
{
    write("s", "/gain U16 0..63 default 64\n");
    const ProcessResult result = audit({"--schema", "s", "n1", "n2"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "s:1:25: error: the default: 64 is above 63 (s:1)\n");
    write("s", "/gain U16 0..\n");
    EXPECT_EQ(audit({"--schema", "s", "n1"}).status, 4);
}

TEST_F(Audit, NamesASelectedFileThatIsMissingOrDamaged)
{
    fs::remove(m_directory / "n1/flash/unit.db");
    write("n2/flash/unit.db", "H");
    const ProcessResult result = audit({"n1", "n2"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(
        result.out,
        AllOf(StartsWith("n1: /etc/node.cfg:3: error: entry 0 lists a file that cannot be used: "
                         "cannot open n1/flash/unit.db: No such file or directory\n"),
              HasSubstr("n2: /etc/node.cfg:3: error: entry 0 lists a file that cannot be used: "
                        "/flash/unit.db\nn2: /flash/unit.db:@0x1: error: the file ends inside")));
}

TEST_F(Audit, GoesOnAfterANodeThatCannotBeJudged)
{
    makeNode("n2", DbBuilder().u16("gain", {17}));
    fs::remove(m_directory / "n1/etc/node.cfg");
    const ProcessResult result = audit({"absent", "n1", "n2"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err,
              "absent: error: absent cannot be read as a directory\n"
              "n1: error: no configuration: cannot open n1/etc/node.cfg: No such file or "
              "directory\n");
    EXPECT_EQ(result.out,
              "n2: /flash/unit.db:@0xb: error: the key \"gain\" does not begin with \"/\"\n"
              "3 nodes: 0 good, 1 with findings, 2 not judged; 1 error, 0 warnings, 0 notes\n");
}

TEST_F(Audit, OfANodeWithInvalidInputsHasStatusFour)
{
    write("n1/etc/node.cfg", "varnix: {\n  component_versions = (;\n");
    ProcessResult result = audit({"n1", "n2"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "n1: /etc/node.cfg:2: error: syntax error\n");
    write("n2/flash/prod.db", "no database");
    result = audit({"n2"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err, StartsWith("n2: error: no production database: --production: "));
    DbBuilder().u8("/a", {1}).write(m_directory / "n3/flash/prod.db");
    result = audit({"n3"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "n3: error: no identities: the production database /flash/prod.db holds "
                          "no text at /componentConfigId\n");
}

TEST_F(Audit, FindsTheFilesOfANodeByItself)
{
    write("n1/etc/other.cfg", "answer = 42;\n");
    expectResult(varnix({"audit", "n1"}, {.environment = {firstVariable, secondVariable}}), 0,
                 oneGood, "");
    expectResult(
        varnix({"audit", "--config", "/etc/node.cfg", "n1"},
               {.environment = {firstVariable + std::string("=/flash/prod.db"), secondVariable}}),
        0, oneGood, "");
    DbBuilder().text("/componentConfigId", "unit_1").write(m_directory / "n1/flash/second.db");
    const ProcessResult result =
        varnix({"audit", "n1"}, {.environment = {firstVariable, secondVariable}});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "n1: error: no production database: /flash/prod.db and "
                          "/flash/second.db hold identities; name it with --production\n");
}

TEST_F(Audit, OfANodeWithoutWhatItNeedsSaysWhatIsMissingOnOneLine)
{
    const std::string notJudged = "1 node: 0 good, 0 with findings, 1 not judged; 0 errors, 0 "
                                  "warnings, 0 notes\n";
    expectResult(varnix({"audit", "--config", "/etc/node.cfg", "n1"},
                        {.environment = {firstVariable + std::string("=/one"),
                                         secondVariable + std::string("=/two")}}),
                 3, notJudged,
                 "n1: error: no production database: sys_uflash_prod_db_dev_dev: cannot open "
                 "n1/one: No such file or directory sys_uflash_prod_db_dev: cannot open n1/two: No "
                 "such file or directory\n");
    const ProcessSetup withoutProduction{.environment = {firstVariable, secondVariable}};
    fs::remove(m_directory / "n1/etc/node.cfg");
    expectResult(varnix({"audit", "n1"}, withoutProduction), 3, notJudged,
                 "n1: error: no configuration: no file with the extension .cfg has one; name it "
                 "with --config\n");
    fs::remove(m_directory / "n2/flash/prod.db");
    expectResult(varnix({"audit", "n2"}, withoutProduction), 3, notJudged,
                 "n2: error: no production database: no file holds a text at /componentConfigId; "
                 "name it with --production\n");
}

TEST_F(Audit, LooksForTheFilesOfANodeAmongTenThousandAtMost)
{
    for (int i = 3; i < 10000; ++i) // three are there
        write("n1/flash/" + std::to_string(i), "");
    const ProcessSetup withoutProduction{.environment = {firstVariable, secondVariable}};
    expectResult(varnix({"audit", "n1"}, withoutProduction), 0, oneGood, "");
    write("n1/flash/one more", "");
    const ProcessResult result = varnix({"audit", "n1"}, withoutProduction);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err,
              "n1: error: the node has too many files to look for a configuration; name it with "
              "--config, and the production database with --production\n");
}

TEST_F(Audit, ReadsSeveralConfigurationsAndNamesASharedFindingOnce)
{
    makeNode("n1", DbBuilder().u16("gain", {17}));
    write("n1/etc/second.cfg", configText({{"unit", "1", {"/flash/unit.db"}}}));
    EXPECT_EQ(audit({"--config", "/etc/second.cfg", "n1"}).out,
              "n1: /flash/unit.db:@0xb: error: the key \"gain\" does not begin with \"/\"\n"
              "1 node: 0 good, 1 with findings, 0 not judged; 1 error, 0 warnings, 0 notes\n");
}

TEST_F(Audit, KeepsTheOrderOfItsArgumentsWithAnyNumberOfJobs)
{
    std::vector<std::string> nodes;
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        nodes.push_back("m" + std::to_string(i));
        makeNode(nodes.back(), DbBuilder().u8("gain", {1}));
        expected += nodes.back() + ": /flash/unit.db:@0xb: error: the key \"gain\" does not begin "
                                   "with \"/\"\n";
    }
    expected += "100 nodes: 0 good, 100 with findings, 0 not judged; 100 errors, 0 warnings, 0 "
                "notes\n";
    for (const char* jobs : {"1", "7"}) {
        std::vector<std::string> arguments{"--jobs", jobs};
        arguments.insert(arguments.end(), nodes.begin(), nodes.end());
        EXPECT_EQ(audit(arguments).out, expected) << jobs;
    }
}

TEST_F(Audit, NeverLeavesANode)
{
    DbBuilder().u16("gain", {1}).write(m_directory / "outside.db");
    fs::remove(m_directory / "n1/flash/unit.db");
    fs::create_symlink("../../outside.db", m_directory / "n1/flash/unit.db");
    EXPECT_THAT(audit({"n1"}).out, HasSubstr("cannot open n1/outside.db: No such file"));
}

TEST_F(Audit, DoesNotWaitForAPipe)
{
    fs::remove(m_directory / "n1/flash/unit.db");
    ASSERT_EQ(::mkfifo((m_directory / "n1/flash/unit.db").c_str(), 0600), 0);
    EXPECT_THAT(audit({"n1"}).out,
                HasSubstr("cannot read n1/flash/unit.db: it is not a regular file"));
}

TEST_F(Audit, JudgesAsManyNodesAtOnceAsItIsTold)
{
    const auto threadsWith = [this](const std::vector<std::string>& options) {
        std::vector<std::string> command{"/usr/bin/env", "-C",    m_directory.path().string(),
                                         VARNIX_TOOL,    "audit", "--json"};
        command.insert(command.end(), options.begin(), options.end());
        command.resize(command.size() + 5000, "n1"); // more than a pipe holds of output
        Child child(command);
        EXPECT_TRUE(child.out().line());
        return entriesOf(("/proc/" + std::to_string(child.id()) + "/task").c_str());
    };
    const std::size_t withOne = threadsWith({"--jobs", "1"});
    EXPECT_EQ(threadsWith({"--jobs", "4"}), withOne + 3);
    const std::size_t withOneACore = withOne - 1 + std::thread::hardware_concurrency();
    EXPECT_EQ(threadsWith({"--jobs", "0"}), withOneACore);
    EXPECT_EQ(threadsWith({}), withOneACore);
    EXPECT_EQ(audit({"--jobs", "1024", "n1"}).status, 0);
    EXPECT_EQ(audit({"--jobs", "1025", "n1"}).status, 2);
}

TEST_F(Audit, ShowsAtATerminalHowManyNodesAreDone)
{
    Child child({"/bin/sh", "-c",
                 "cd " + m_directory.path().string() + " && exec " VARNIX_TOOL " audit n1 2>&1"},
                true);
    EXPECT_EQ(child.out().rest(), "\r1 of 1 nodes\r\033[K1 node: 1 good, 0 with findings, 0 not "
                                  "judged; 0 errors, 0 warnings, 0 notes\r\n");
}

class AuditReports : public Audit
{
};

TEST_F(AuditReports, AsDocumentsAreALineForEachNodeInOrder)
{
    makeNode("n2", DbBuilder().u16("gain", {17}));
    const ProcessResult result = audit({"--json", "n1", "absent", "n2"});
    EXPECT_EQ(result.status, 3);
    const std::vector<Json> lines = documents(result);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], Json::parse(R"({"node": "n1", "status": 0, "findings": [],
        "differences": [], "errors": []})"));
    EXPECT_EQ(lines[1], Json::parse(R"({"node": "absent", "status": 3, "findings": [],
        "differences": [], "errors": [{"status": 3,
        "message": "error: absent cannot be read as a directory"}]})"));
    EXPECT_EQ(lines[2], Json::parse(R"({"node": "n2", "status": 1, "findings": [{
        "severity": "error", "file": "/flash/unit.db", "offset": 11,
        "message": "the key \"gain\" does not begin with \"/\""}],
        "differences": [], "errors": []})"));
}

TEST_F(AuditReports, OfSharesJoinByConcatenation)
{
    makeNode("n2", DbBuilder().u16("gain", {17}));
    EXPECT_EQ(audit({"--json", "n1"}).out + audit({"--json", "n2", "n3"}).out,
              audit({"--json", "n1", "n2", "n3"}).out);
}

TEST_F(AuditReports, AsADocumentHasBothValuesOfADifference)
{
    makeNode("old/n1", DbBuilder().u16("/gain", {16}).u8("/gone", {1}));
    const ProcessResult result = audit({"--json", "--against", "old", "n1"});
    EXPECT_EQ(documents(result).at(0)["differences"], Json::parse(R"([
        {"config": "/etc/node.cfg", "key": "/gain",
         "before": {"result": "value", "type": "U16", "value": [16]},
         "after": {"result": "value", "type": "U16", "value": [17]}},
        {"config": "/etc/node.cfg", "key": "/gone",
         "before": {"result": "value", "type": "U8", "value": [1]},
         "after": {"result": "absent"}}])"));
}

TEST_F(AuditReports, AsJunitHasACaseForEachNode)
{
    makeNode("n2", DbBuilder().u8("a<&\"\x01>", {17}));
    const ProcessResult result = audit({"--junit", "report.xml", "n1", "n2", "ab<sent"});
    EXPECT_EQ(result.status, 3);
    const std::string report = read("report.xml");
    EXPECT_THAT(report, AllOf(HasSubstr(R"( tests="3" failures="1" errors="1" )"),
                              HasSubstr(R"(<testcase name="n1" classname="varnix.audit")"),
                              HasSubstr("a&lt;&amp;\\&quot;\\x01&gt;"),
                              HasSubstr(R"(<error message="error: ab&lt;sent cannot be read)")));
    const ProcessResult judged =
        run({"xmllint", "--noout", "--schema", VARNIX_SOURCE_DIR "/tests/tools/junit.xsd",
             m_directory / "report.xml"});
    EXPECT_EQ(judged.status, 0) << judged.err << report;
}

TEST_F(AuditReports, JunitThatCannotBeWrittenIsAnError)
{
    EXPECT_EQ(audit({"--junit", "absent/report.xml", "n1"}).status, 3);
}

} // namespace
} // namespace Varnix::Test

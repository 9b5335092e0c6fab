#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using namespace std::string_literals;
using Json = nlohmann::json;

/** A node of which one entry matches. */
class ExplainDocument : public ToolTest
{
protected:
    ExplainDocument()
    {
        DbBuilder()
            .text("/componentConfigId", "unit_1")
            .text("/hidden", "x")
            .write(m_directory / "prod.db");
        DbBuilder().u16("/gain", {17}).u8("/hidden", {3}).write(m_directory / "unit.db");
        DbBuilder().u16("/gain", {9}).write(m_directory / "spare.db");
        write("node.cfg", configText({{"unit", "1", {"unit.db"}},
                                      {"unit", "2", {"spare.db", "unit.db", "gone.db"}}}));
        write("s", "/gain U16 0..9\n");
    }

    Json document(std::vector<std::string> arguments,
                  const std::vector<std::string>& production = {secondVariable + "=prod.db"s,
                                                                firstVariable})
    {
        arguments.insert(arguments.begin(), {"explain", "--json"});
        return Json::parse(varnix(std::move(arguments), {.environment = production}).out);
    }
};

TEST_F(ExplainDocument, SaysAllThatTheTextSays)
{
    EXPECT_EQ(document({"--schema", "s", "node.cfg", "/gain", "/hidden", "/absent"}),
              Json::parse(R"x({
        "config": "node.cfg",
        "identities": ["unit_1"],
        "entries": [
            {"index": 0, "file": "node.cfg", "line": 3, "pattern": "unit_1",
             "matches": ["unit_1"], "files": ["unit.db"]},
            {"index": 1, "file": "node.cfg", "line": 4, "pattern": "unit_2",
             "matches": [], "files": ["spare.db", "unit.db", "gone.db"]}],
        "production": {"path": "prod.db", "variable": "sys_uflash_prod_db_dev"},
        "files": [
            {"path": "unit.db", "selected": true, "problem": null,
             "listings": [{"entry": 0, "position": 0}, {"entry": 1, "position": 1}]},
            {"path": "spare.db", "selected": false, "problem": null,
             "listings": [{"entry": 1, "position": 0}]},
            {"path": "gone.db", "selected": false,
             "problem": "cannot open gone.db: No such file or directory",
             "listings": [{"entry": 1, "position": 2}]}],
        "keys": [
            {"key": "/gain", "production": null,
             "files": [{"path": "unit.db", "selected": true, "type": "U16", "value": [17]},
                       {"path": "spare.db", "selected": false, "type": "U16", "value": [9]}],
             "client": {"result": "value", "production": false, "file": "unit.db",
                        "type": "U16", "value": [17]}},
            {"key": "/hidden", "production": {"type": "CHAR", "value": "x"},
             "files": [{"path": "unit.db", "selected": true, "type": "U8", "value": [3]}],
             "client": {"result": "value", "production": true, "file": "prod.db",
                        "type": "CHAR", "value": "x", "hiddenType": 2}},
            {"key": "/absent", "production": null, "files": [], "client": {"result": "absent"}}],
        "findings": [
            {"severity": "note", "file": "node.cfg", "line": 4,
             "message": "entry 1: unit_2 matches none of the identities"},
            {"severity": "note", "file": "node.cfg", "line": 4,
             "message": "no entry that matches lists spare.db"},
            {"severity": "note", "file": "node.cfg", "line": 4,
             "message": "no entry that matches lists gone.db"},
            {"severity": "warning", "file": "node.cfg", "line": 4, "message":
             "entry 1 lists a file that cannot be used: cannot open gone.db: No such file or directory"},
            {"severity": "warning", "file": "prod.db", "message":
             "/hidden: CHAR here hides U8 in unit.db: a client that reads U8 gets a type mismatch"},
            {"severity": "error", "file": "unit.db", "offset": 21, "check": "range",
             "message": "17 is above 9 (s:1)"}],
        "errors": []})x"));
}

TEST_F(ExplainDocument, OfAnUnusableNodeWithoutAProductionDatabaseSaysSo)
{
    std::filesystem::remove(m_directory / "unit.db");
    EXPECT_EQ(
        document({"--identity", "unit_1", "node.cfg", "/gain"}, {firstVariable, secondVariable}),
        Json::parse(R"x({
        "config": "node.cfg",
        "identities": ["unit_1"],
        "entries": [
            {"index": 0, "file": "node.cfg", "line": 3, "pattern": "unit_1",
             "matches": ["unit_1"], "files": ["unit.db"]},
            {"index": 1, "file": "node.cfg", "line": 4, "pattern": "unit_2",
             "matches": [], "files": ["spare.db", "unit.db", "gone.db"]}],
        "production": null,
        "files": [
            {"path": "unit.db", "selected": true, "problem": "cannot open unit.db: No such file or directory",
             "listings": [{"entry": 0, "position": 0}, {"entry": 1, "position": 1}]},
            {"path": "spare.db", "selected": false, "problem": null,
             "listings": [{"entry": 1, "position": 0}]},
            {"path": "gone.db", "selected": false,
             "problem": "cannot open gone.db: No such file or directory",
             "listings": [{"entry": 1, "position": 2}]}],
        "keys": [
            {"key": "/gain", "production": null,
             "files": [{"path": "spare.db", "selected": false, "type": "U16", "value": [9]}],
             "client": {"result": "no database"}}],
        "findings": [
            {"severity": "note", "file": "node.cfg", "line": 4,
             "message": "entry 1: unit_2 matches none of the identities"},
            {"severity": "error", "file": "node.cfg", "line": 3, "message":
             "entry 0 lists a file that cannot be used: cannot open unit.db: No such file or directory"},
            {"severity": "note", "file": "node.cfg", "line": 4,
             "message": "no entry that matches lists spare.db"},
            {"severity": "note", "file": "node.cfg", "line": 4,
             "message": "no entry that matches lists gone.db"},
            {"severity": "warning", "file": "node.cfg", "line": 4, "message":
             "entry 1 lists a file that cannot be used: cannot open gone.db: No such file or directory"}],
        "errors": [
            {"status": 5, "message":
             "varnix: a database file that node.cfg selects cannot be used: cannot open unit.db: No such file or directory"}]})x"));
}

} // namespace
} // namespace Varnix::Test

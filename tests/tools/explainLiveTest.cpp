#include "liveFixture.h"

#include <csignal>

#include <nlohmann/json.hpp>

namespace Varnix::Test {

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class ExplainLive : public Live
{
protected:
    /** Changes the file of `first` after processes have read it. */
    void change() { node.database("first.db", changed); }

    const DbBuilder changed =
        DbBuilder().u16("/gain", {5, 6}).text("/label", "a label").u8("/new", {1});
};

TEST_F(ExplainLive, WithoutKeysShowsThoseThatDiffer)
{
    const std::string pid = hold({first});
    change();
    const ProcessResult result = varnix({"explain", "--pid", pid});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr("  => a client gets U16 5 6 from " + (node / "first.db").string() +
                          "\n  process " + pid + " holds U16 1 2\n"));
    EXPECT_THAT(result.out, HasSubstr("\n  process " + pid + " holds no such key\n"));
    for (const char* const key : {"/gain", "/new"})
        EXPECT_THAT(result.out, HasSubstr(first + ": warning: " + key + ": process " + pid +
                                          " does not hold what the files say\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("/label")));
}

TEST_F(ExplainLive, AProcessThatHoldsWhatTheFilesSayIsDone)
{
    const std::string pid = hold({first});
    const ProcessResult result = varnix({"explain", "--pid", pid});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, Not(HasSubstr("/gain")));
}

TEST_F(ExplainLive, ANamedKeyAloneDecidesTheStatus)
{
    const std::string pid = hold({first});
    change();
    const ProcessResult same = varnix({"explain", "--pid", pid, "/label"});
    EXPECT_EQ(same.status, 0);
    EXPECT_THAT(same.out, HasSubstr("process " + pid + " holds CHAR \"a label\"\n"));
    EXPECT_THAT(same.out, Not(HasSubstr("does not hold")));
    EXPECT_EQ(varnix({"explain", "--pid", pid, "/gain"}).status, 1);
}

TEST_F(ExplainLive, ADatabaseIsChosenAsInGet)
{
    const std::string pid = hold({first, second});
    change();
    EXPECT_EQ(varnix({"explain", "--pid", pid}).status, 2);
    EXPECT_EQ(varnix({"explain", "--pid", pid, "--config", second}).status, 0);
    EXPECT_EQ(varnix({"explain", "--pid", pid, "--config", first}).status, 1);
}

TEST_F(ExplainLive, FilesAreThoseOfTheProcessAndNotOfTheShell)
{
    node.database("here.db", DbBuilder().text("/componentConfigId", "unit_R1").u8("/board", {9}));
    node.configuration("here.cfg", {{"unit", "R1", {"first.db"}}});
    Child process({"/bin/sh", "-c",
                   "cd " + (node / "").string() + " && unset " + firstVariable + " && " +
                       secondVariable + "=here.db exec " HOLDER " here.cfg"});
    ASSERT_EQ(process.out().line(), "ready");
    const ProcessResult result =
        varnix({"explain", "--pid", std::to_string(process.id()), "/board", "/gain"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Production database: here.db (named by " +
                                      std::string(secondVariable) + ")\n"));
    EXPECT_THAT(result.out, HasSubstr("holds U8 9\n"));
    EXPECT_THAT(result.out, HasSubstr("=> a client gets U16 1 2 from first.db\n"));
}

TEST_F(ExplainLive, AFileIsNamedByThePathThatTheProcessHasForIt)
{
    const std::string pid = hold({first});
    std::filesystem::remove(node / "first.db");
    EXPECT_THAT(varnix({"explain", "--pid", pid}).out,
                HasSubstr(": cannot open " + (node / "first.db").string() + ": No such file"));
}

TEST_F(ExplainLive, AsADocumentSaysTheSame)
{
    const std::string pid = hold({first});
    change();
    const Json document = Json::parse(varnix({"explain", "--pid", pid, "--json", "/gain"}).out);
    const Json now{{"type", "U16"}, {"value", {5, 6}}};
    Json inFile = now;
    inFile.update({{"path", node / "first.db"}, {"selected", true}});
    Json client = now;
    client.update({{"result", "value"}, {"production", false}, {"file", node / "first.db"}});
    EXPECT_EQ(document["pid"], std::stoi(pid));
    EXPECT_EQ(document["config"], first);
    EXPECT_EQ(document["keys"],
              Json::array({{{"key", "/gain"},
                            {"production", nullptr},
                            {"files", Json::array({inFile})},
                            {"client", client},
                            {"process", {{"result", "value"}, {"type", "U16"}, {"value", {1, 2}}}},
                            {"differs", true}}}));
    EXPECT_EQ(document["findings"],
              Json::array(
                  {{{"severity", "warning"},
                    {"file", first},
                    {"message", "/gain: process " + pid + " does not hold what the files say"}}}));
}

TEST_F(ExplainLive, AProcessThatIsGoneCannotBeExplained)
{
    const ProcessResult result = varnix({"explain", "--pid", "4194304"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.err, HasSubstr("there is no process 4194304"));
}

TEST_F(ExplainLive, IdentitiesAreThoseOfTheProcess)
{
    EXPECT_EQ(varnix({"explain", "--pid", "1", "--identity", "unit_R1"}).status, 2);
}

} // namespace

} // namespace Varnix::Test

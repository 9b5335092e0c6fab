#include "liveFixture.h"
#include "tests/support/waitUntil.h"

#include <csignal>

#include <nlohmann/json.hpp>

namespace Varnix::Test {

namespace {

using Json = nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST_F(Live, PsShowsAProcessWithItsDatabases)
{
    const std::string pid = hold({first, second});
    // The subscription thread takes a moment to find that no server is there.
    EXPECT_TRUE(waitUntil([&] { return lineOf(pid).find("\tlocating\t") != std::string::npos; }));
    EXPECT_EQ(lineOf(pid), pid + "\tholder\tlocating\t0 writes\tproduction 2\t" + first + " 2\t" +
                               second + " 2");
    EXPECT_EQ(varnix({"ps"}).status, 0);
}

TEST_F(Live, PsShowsNoProcessThatHasEnded)
{
    const std::string pid = hold({first});
    holders.back()->signal(SIGKILL);
    holders.back()->wait();
    EXPECT_EQ(lineOf(pid), "");
}

TEST_F(Live, PsShowsNoDatabaseWhoseHandleIsDropped)
{
    const std::string pid = hold({first, second});
    holders.back()->write("\n");
    EXPECT_EQ(holders.back()->out().line(), "dropped");
    EXPECT_THAT(lineOf(pid), Not(HasSubstr(first)));
    EXPECT_THAT(lineOf(pid), HasSubstr(second));
}

TEST_F(Live, PsShowsAProcessThatIsStopped)
{
    const std::string pid = hold({first});
    holders.back()->signal(SIGSTOP);
    EXPECT_THAT(lineOf(pid), HasSubstr(first));
    EXPECT_EQ(varnix({"get", "--pid", pid, "/gain"}).out, "1 2\n");
    holders.back()->signal(SIGCONT);
}

TEST_F(Live, PsAsADocumentNamesTheSame)
{
    const std::string pid = hold({first});
    EXPECT_TRUE(waitUntil([&] { return lineOf(pid).find("\tlocating\t") != std::string::npos; }));
    const Json document = Json::parse(varnix({"ps", "--json"}).out);
    Json found;
    for (const Json& process : document["processes"])
        if (process["pid"] == std::stoi(pid))
            found = process;
    EXPECT_EQ(found, Json({{"pid", std::stoi(pid)},
                           {"command", "holder"},
                           {"subscription", "locating"},
                           {"writes", 0},
                           {"databases",
                            {{{"config", nullptr}, {"parameters", 2}},
                             {{"config", first}, {"parameters", 2}}}}}));
    EXPECT_EQ(document, Json({{"processes", document["processes"]}, {"errors", Json::array()}}));
}

TEST_F(Live, GetTakesTheValueOfTheProductionDatabaseFirst)
{
    node.production(DbBuilder().text("/componentConfigId", "unit_R1").u16("/gain", {9}));
    expectResult(varnix({"get", "--pid", hold({first}), "/gain"}), 0, "9\n", "");
}

TEST_F(Live, GetReadsAsTheProcessDoes)
{
    const std::string pid = hold({first});
    expectResult(varnix({"get", "--pid", pid, "/gain"}), 0, "1 2\n", "");
    expectResult(varnix({"get", "--pid", pid, "/board", "/label"}), 0,
                 "/board\t7\n/label\ta label\n", "");
}

TEST_F(Live, GetOfAnAbsentKeyIsNo)
{
    const std::string pid = hold({first});
    const ProcessResult result = varnix({"get", "--pid", pid, "/none"});
    expectResult(result, 1, "",
                 "varnix: /none: there is no such key; see varnix explain --pid " + pid +
                     " /none\n");
}

TEST_F(Live, GetFromOneOfSeveralNeedsToKnowWhich)
{
    const std::string pid = hold({first, second});
    const std::string who = "varnix: process " + pid;
    const std::string list = "\n  " + first + "\n  " + second + "\n";
    expectResult(varnix({"get", "--pid", pid, "/gain"}), 2, "",
                 who + " has several databases; choose one with --config:" + list);
    EXPECT_EQ(varnix({"get", "--pid", pid, "--config", first, "/gain"}).out, "1 2\n");
    EXPECT_EQ(varnix({"get", "--pid", pid, "--config", second, "/gain"}).out, "3\n");
    EXPECT_THAT(varnix({"get", "--pid", pid, "--config", second, "/label"}).err,
                HasSubstr("; see varnix explain --pid " + pid + " --config " + second + " /label"));
    expectResult(varnix({"get", "--pid", pid, "--config", "/other.cfg", "/gain"}), 2, "",
                 who + " has no database of /other.cfg; it has:" + list);
}

TEST_F(Live, GetFromAProcessThatHasDroppedItsHandlesSaysSo)
{
    const std::string pid = hold({first});
    holders.back()->write("\n");
    EXPECT_EQ(holders.back()->out().line(), "dropped");
    expectResult(varnix({"get", "--pid", pid, "/gain"}), 5, "",
                 "varnix: process " + pid + " has no database: it has dropped its handles\n");
}

TEST_F(Live, AListOfDatabasesCannotActOnATerminal)
{
    const std::string database = node.database("plain.db", DbBuilder().u8("/a", {1}));
    const std::string hostile =
        node.configuration("\x1b[2J\n  x.cfg", {{"unit", "R1", {database}}});
    const std::string pid = hold({first, hostile});
    const std::string list =
        "\n  " + first + "\n  " + (node / "\\x1b[2J\\n  x.cfg").string() + '\n';
    EXPECT_THAT(varnix({"get", "--pid", pid, "/a"}).err, EndsWith("with --config:" + list));
    EXPECT_THAT(varnix({"get", "--pid", pid, "--config", "\x1b[2J\n", "/a"}).err,
                EndsWith("has no database of \\x1b[2J\\n; it has:" + list));
    EXPECT_EQ(varnix({"get", "--pid", pid, "--config", hostile, "/a"}).out, "1\n");
}

TEST_F(Live, GetOfAnEmptyKeyIsRefusedAsAClientIs)
{
    const std::string pid = hold({second});
    const ProcessResult result = varnix({"get", "--pid", pid, "/empty"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("/empty: no read accepts it"));
}

TEST_F(Live, AProcessThatCannotBeLookedAtSaysWhy)
{
    expectResult(varnix({"get", "--pid", "4194304", "/gain"}), 5, "",
                 "varnix: there is no process 4194304\n");

    Child stranger({"/bin/cat"});
    stranger.write("runs\n"); // and is no longer this program's copy
    EXPECT_EQ(stranger.out().line(), "runs");
    const std::string pid = std::to_string(stranger.id());
    expectResult(varnix({"get", "--pid", pid, "/gain"}), 5, "",
                 "varnix: process " + pid + " does not use the library\n");

    const std::string none = hold({});
    expectResult(varnix({"get", "--pid", none, "/gain"}), 5, "",
                 "varnix: process " + none + " has no registry: it has called no initDb\n");
}

} // namespace

} // namespace Varnix::Test

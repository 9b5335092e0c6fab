#include "tests/support/child.h"
#include "tests/support/process.h"
#include "tests/support/waitUntil.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <varnix/dbRegistryIf.h>
#include <varnix/kit/parameter.h>
#include <varnix/kit/testNode.h>

/** Each case runs in a process of its own. */
namespace {

using namespace Varnix::Kit;
using testing::HasSubstr;
using Varnix::Test::Child;
using Varnix::Test::waitUntil;
using Varnix::V1::DatabaseIf;
using Varnix::V1::DbRegistryIf;

constexpr const char* variables[] = {"sys_uflash_prod_db_dev_dev", "sys_uflash_prod_db_dev",
                                     "VARNIX_ITC_DIR"};

std::string configurationOf(TestNode& node, const std::string& text,
                            const std::string& component = "test")
{
    return node.configuration("varnix = { component_versions = ( { component_id = \"" + component +
                              "\"; revision = \"1\"; file_paths = [ \"" +
                              node.database("unit.db", text) + "\" ]; } ); };");
}

std::shared_ptr<DatabaseIf> open(TestNode& node, const std::string& text)
{
    return DbRegistryIf::getInstance().initDb(configurationOf(node, text));
}

/** What `call` complains of with an exception of this type. */
template <typename Error, typename Call>
std::string complaint(const Call& call)
{
    try {
        call();
    } catch (const Error& error) {
        return error.what();
    }
    return "nothing";
}

std::vector<std::optional<std::string>> environmentNow()
{
    std::vector<std::optional<std::string>> values;
    for (const char* const name : variables)
        values.push_back(std::getenv(name) != nullptr
                             ? std::optional<std::string>(std::getenv(name))
                             : std::nullopt);
    return values;
}

bool hasChildren()
{
    return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

TEST(TestNodes, AProcessReadsTheNodesParameters)
{
    TestNode node;
    node.production("/componentConfigId CHAR \"board_1 test_2\"\n/node/serial CHAR \"V0042\"\n");
    const auto database = DbRegistryIf::getInstance().initDb(
        configurationOf(node, "/unit/gain U16 17 31\n", "board"));
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(Parameter<std::uint16_t>(database, "/unit/gain").value(), 17);
    EXPECT_EQ(Parameter<std::string>(database, "/node/serial").value(), "V0042");
}

TEST(TestNodes, AWriteHasBeenHandledWhenItReturns)
{
    TestNode node;
    const auto database = open(node, "/unit/gain U16 0 0\n");
    ASSERT_NE(database, nullptr);
    const Parameter<std::uint16_t> gain(database, "/unit/gain");
    for (int value = 1; value <= 50; ++value) {
        node.write({"db", "write", "/unit/gain", std::to_string(value)});
        ASSERT_EQ(gain.value(), value);
    }
}

TEST(TestNodes, AWriteHasBeenHandledByEverySubscriber)
{
    TestNode node;
    const std::string file = configurationOf(node, "/unit/gain U16 1\n");
    Child first({NODE_CLIENT, file});
    Child second({NODE_CLIENT, file});
    node.waitForSubscribers(2);
    node.write({"db", "write", "/unit/gain", "9"});
    for (Child* const client : {&first, &second}) {
        EXPECT_EQ(client->out().line(), "ready");
        client->write("\n");
        EXPECT_EQ(client->out().line(), "9");
    }
}

TEST(TestNodes, AWriteThatIsRejectedReturnsToo)
{
    TestNode node;
    const auto database = open(node, "/unit/gain U16 5\n");
    ASSERT_NE(database, nullptr);
    node.write({"db", "write", "/unit/gain", "65536"});
    node.write({"db", "write", "/absent", "1"});
    EXPECT_EQ(Parameter<std::uint16_t>(database, "/unit/gain").value(), 5);
}

TEST(TestNodes, WordsArriveUnchanged)
{
    TestNode node;
    const std::string key = R"(/it's-a-\key)";
    const auto database = open(node, key + " CHAR \"x\"\n");
    ASSERT_NE(database, nullptr);
    node.write({"db", "write", key, "-c", " two  words "});
    EXPECT_EQ(Parameter<std::string>(database, key).value(), " two  words ");
}

TEST(TestNodes, EverythingIsUndoneAlsoWhenATestThrows)
{
    ::setenv(variables[0], "before", 1);
    ::unsetenv(variables[1]);
    const auto before = environmentNow();
    std::filesystem::path directory;
    EXPECT_THROW(
        {
            TestNode node;
            directory = node.directory();
            EXPECT_NE(environmentNow(), before);
            EXPECT_TRUE(exists(directory));
            throw std::runtime_error("a test's own");
        },
        std::runtime_error);
    EXPECT_EQ(environmentNow(), before);
    EXPECT_FALSE(exists(directory));
    EXPECT_FALSE(hasChildren());
}

TEST(TestNodes, ANodeThatCannotBeMadeLeavesNothing)
{
    const auto before = environmentNow();
    ::setenv("TMPDIR", "/nonexistent", 1);
    EXPECT_ANY_THROW(TestNode());
    ::unsetenv("TMPDIR");
    EXPECT_EQ(environmentNow(), before);
    const TestNode node;
}

TEST(TestNodes, AKilledProcessLeavesNoServerAndNoFiles)
{
    Child client({NODE_CLIENT}, false);
    const std::filesystem::path directory = client.out().line().value_or("");
    EXPECT_EQ(client.out().line(), "ready");
    EXPECT_TRUE(exists(directory));
    client.signal(SIGKILL);
    EXPECT_EQ(client.wait(), 128 + SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return !exists(directory); })); // it goes after the server
}

TEST(TestNodes, AForkedChildUndoesNothing)
{
    std::optional<TestNode> node(std::in_place);
    const pid_t child = ::fork();
    if (child == 0) {
        node.reset();
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(exists(node->directory()));
    EXPECT_NO_THROW(node->write({"db", "write", "/unit/gain", "1"}));
}

TEST(TestNodes, NodesSideBySideDoNotMeet)
{
    TestNode node;
    Child other({NODE_CLIENT});
    EXPECT_NE(other.out().line(), node.directory().string());
    EXPECT_EQ(other.out().line(), "ready");
    const auto database = open(node, "/unit/gain U16 1\n");
    ASSERT_NE(database, nullptr);
    node.write({"db", "write", "/unit/gain", "9"});
    EXPECT_EQ(Parameter<std::uint16_t>(database, "/unit/gain").value(), 9);
    other.write("\n");
    EXPECT_EQ(other.out().line(), "1");
}

TEST(TestNodes, ASecondNodeIsRefusedAndTheFirstGoesOn)
{
    {
        TestNode node;
        EXPECT_EQ(complaint<std::invalid_argument>([] { const TestNode second; }),
                  "this process has a TestNode already");
        node.write({"db", "write", "/unit/gain", "1"});
    }
    TestNode node; // nobody has used the other
    ASSERT_NE(open(node, "/unit/gain U16 1\n"), nullptr);
}

TEST(TestNodes, ANodeAfterTheRegistryIsRefused)
{
    {
        TestNode node;
        ASSERT_NE(open(node, "/unit/gain U16 1\n"), nullptr);
        EXPECT_THAT(complaint<std::invalid_argument>([&] { node.production(""); }),
                    HasSubstr("comes before the process's first initDb"));
    }
    EXPECT_THAT(complaint<std::invalid_argument>([] { const TestNode late; }),
                HasSubstr("has to come before the process's first initDb"));
}

TEST(TestNodes, AMistakeInATextIsNamedWithItsPlace)
{
    TestNode node;
    EXPECT_THAT(
        complaint<std::runtime_error>([&] { node.database("unit.db", "/unit/gain U16 65536\n"); }),
        HasSubstr("unit.db.txt:1:16: error: 65536 is out of range"));
    EXPECT_EQ(node.database("unit.db", "/unit/gain U16 1\n"),
              (node.directory() / "files/unit.db").string());
}

TEST(TestNodes, BadUseIsToldInASentence)
{
    TestNode node;
    for (const std::string name : {"", "a/b", ".."})
        EXPECT_EQ(complaint<std::invalid_argument>([&] { node.database(name, ""); }),
                  "\"" + name + "\" cannot be the name of a database file");
    EXPECT_EQ(complaint<std::invalid_argument>([&] {
                  node.write({"db", "write", "/key"});
              }),
              "a write has at least four words, not 3");
    for (const std::string& word : {std::string("a\nb"), std::string("a\0b", 3)})
        EXPECT_EQ(complaint<std::invalid_argument>([&] {
                      node.write({"db", "write", "/key", word});
                  }),
                  "a write's word cannot hold a line's end or a NUL");
    EXPECT_THAT(complaint<std::runtime_error>([&] {
                    node.write({"status", "b", "c", "d"});
                }),
                HasSubstr("\"status\" takes no arguments"));
    EXPECT_NO_THROW(node.write({"db", "write", "/key", "1"}));
}

TEST(TestNodes, TheCommandsAreFoundInThePath)
{
    const auto result = Varnix::Test::run({NODE_CLIENT}, {.environment = {"PATH=/nonexistent"}});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "a TestNode needs the command varnix, which is not in /nonexistent\n");
    const auto found = Varnix::Test::run(
        {NODE_CLIENT}, {.environment = {"PATH=/nonexistent:" TOOLS_DIRECTORY ":/bin:/usr/bin"}});
    EXPECT_EQ(found.status, 0) << found.err;
}

} // namespace

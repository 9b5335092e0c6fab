#include "cases.h"
#include "tests/support/nodeDirectory.h"
#include "tests/support/process.h"

#include <set>

#include <gmock/gmock.h>

namespace Varnix::Test {
namespace {

class HostileConfigurations : public testing::TestWithParam<HostileConfiguration>
{
protected:
    HostileConfigurations()
    {
        std::filesystem::current_path(m_directory.path());
        DbBuilder().text("/componentConfigId", "a_1").write("production.db");
        DbBuilder().u8("/a", {1, 2}).write("good.db");
        GetParam().prepare(GetParam().argument);
    }

    ProcessResult runHere(const std::vector<std::string>& command) const
    {
        const std::string mailboxes = "VARNIX_ITC_DIR=" + (m_directory / "itc").string();
        // On a syntax error libconfig leaks what it has read so far.
        return run(command,
                   {.directory = m_directory.path(),
                    .environment = {std::string(firstVariable) + "=production.db", secondVariable,
                                    mailboxes, "ASAN_OPTIONS=detect_leaks=0"}});
    }

    const TemporaryDirectory m_directory;
};

TEST_P(HostileConfigurations, GivesAClientADatabaseOrNone)
{
    const std::string expected =
        GetParam().outcome == Outcome::VALUE      ? "a database with 2 elements\n"
        : GetParam().outcome == Outcome::NO_VALUE ? "a database without the parameter\n"
                                                  : "no database\n";
    const ProcessResult client = runHere({HOSTILE_CLIENT, "node.cfg"});
    EXPECT_EQ(client.signal, 0);
    EXPECT_EQ(client.status, 0);
    EXPECT_EQ(client.out, expected);
    EXPECT_EQ(client.err, "");
}

TEST_P(HostileConfigurations, IsExplainedAndReadWithTheDocumentedStatuses)
{
    const int readable = GetParam().outcome == Outcome::INVALID    ? 4
                         : GetParam().outcome == Outcome::UNUSABLE ? 5
                                                                   : 0;
    const ProcessResult explained = runHere({VARNIX_TOOL, "explain", "node.cfg"});
    EXPECT_EQ(explained.signal, 0);
    EXPECT_EQ(explained.status, readable) << explained.err;
    EXPECT_THAT(explained.out + explained.err, testing::HasSubstr(GetParam().words));

    const ProcessResult got = runHere({VARNIX_TOOL, "get", "node.cfg", "/a"});
    EXPECT_EQ(got.signal, 0);
    EXPECT_EQ(got.status, GetParam().outcome == Outcome::NO_VALUE ? 1 : readable) << got.err;
    EXPECT_EQ(got.out, GetParam().outcome == Outcome::VALUE ? "1 2\n" : "");
}

TEST(HostileConfigurationSet, HasAHundredCasesOfDifferentNames)
{
    std::set<std::string> names;
    for (const HostileConfiguration& configuration : hostileConfigurations())
        names.insert(configuration.name);
    EXPECT_EQ(names.size(), hostileConfigurations().size());
    EXPECT_GE(names.size(), 100U);
}

TEST(HostileConfigurationsPage, SaysHowManyThereAre)
{
    EXPECT_THAT(readFile(RELIABILITY_PAGE),
                testing::HasSubstr(' ' + std::to_string(hostileConfigurations().size()) +
                                   " hostile configurations, "));
}

INSTANTIATE_TEST_SUITE_P(Each, HostileConfigurations, testing::ValuesIn(hostileConfigurations()),
                         [](const auto& configuration) { return configuration.param.name; });

} // namespace
} // namespace Varnix::Test

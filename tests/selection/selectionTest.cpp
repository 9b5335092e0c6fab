#include "selection.h"

#include "tests/selection/randomNode.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include <gtest/gtest.h>

namespace Varnix::Test {
namespace {

using Backend::DBUtils::DbConfiguration;

constexpr int configurations = 100000;
constexpr int configurationFiles = 500;

/** Whether a pattern of letters, *, ?, [ab] and [!a] matches the whole text. */
bool oracleMatches(std::string_view pattern, std::string_view text)
{
    if (pattern.empty())
        return text.empty();
    if (pattern.front() == '*')
        return oracleMatches(pattern.substr(1), text) ||
               (!text.empty() && oracleMatches(pattern, text.substr(1)));
    if (text.empty())
        return false;
    if (pattern.starts_with("[ab]"))
        return (text.front() == 'a' || text.front() == 'b') &&
               oracleMatches(pattern.substr(4), text.substr(1));
    if (pattern.starts_with("[!a]"))
        return text.front() != 'a' && oracleMatches(pattern.substr(4), text.substr(1));
    return (pattern.front() == '?' || pattern.front() == text.front()) &&
           oracleMatches(pattern.substr(1), text.substr(1));
}

/** The files of the entries that match, each where it is listed first. */
std::vector<std::string> oracleSelects(const std::vector<ConfigEntry>& entries,
                                       const std::vector<std::string>& identities)
{
    std::vector<std::string> files;
    for (const ConfigEntry& entry : entries) {
        bool applies = false;
        for (const std::string& identity : identities)
            applies = applies || oracleMatches(entry.componentId + '_' + entry.revision, identity);
        for (const std::string& path : entry.filePaths)
            if (applies && std::find(files.begin(), files.end(), path) == files.end())
                files.push_back(path);
    }
    return files;
}

const std::vector<std::string> paths{"/a.db", "/b.db", "//a.db", "a.db", "c"};

TEST(Selection, OfRandomConfigurationsIsWhatTheRulesSay)
{
    Random random(1);
    int selecting = 0;
    for (int i = 0; i < configurations; ++i) {
        const std::vector<std::string> identities = randomIdentities(random);
        const std::vector<ConfigEntry> entries = randomEntries(random, paths);
        std::vector<DbConfiguration> asRead(entries.size());
        std::transform(entries.begin(), entries.end(), asRead.begin(), [](const ConfigEntry& e) {
            return DbConfiguration{e.componentId, e.revision, e.filePaths};
        });
        const std::vector<std::string> expected = oracleSelects(entries, identities);
        selecting += expected.empty() ? 0 : 1;
        ASSERT_EQ(Backend::Selection::selectFiles(asRead, identities), expected)
            << configText(entries) << testing::PrintToString(identities);
    }
    EXPECT_GT(selecting, configurations / 10) << "too few of the configurations say anything";
}

TEST(Selection, OfEntriesReadFromAFileIsTheSameAndKnowsTheirLines)
{
    Random random(2);
    const NodeDirectory node;
    for (int i = 0; i < configurationFiles; ++i) {
        const std::vector<std::string> identities = randomIdentities(random);
        const std::vector<ConfigEntry> entries = randomEntries(random, paths);
        std::vector<DbConfiguration> asRead;
        std::vector<Backend::DBUtils::ConfigText::Place> places;
        ASSERT_FALSE(Backend::DBUtils::readConfigFile(node.configuration("node.cfg", entries),
                                                      asRead, &places));
        ASSERT_EQ(Backend::Selection::selectFiles(asRead, identities),
                  oracleSelects(entries, identities));
        std::vector<int> expected(asRead.size());
        std::iota(expected.begin(), expected.end(), 3);
        std::vector<int> lines;
        for (const auto& place : places)
            lines.push_back(place.line);
        ASSERT_EQ(lines, expected) << configText(entries);
    }
}

} // namespace
} // namespace Varnix::Test

#include "node.h"
#include "reads.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/nodeDirectory.h"
#include "tests/support/process.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <set>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using Json = nlohmann::json;
using ImageModel::Value;
using testing::HasSubstr;
using testing::Not;

std::string hexBytes(const std::string& data)
{
    std::string bytes;
    for (const char byte : data) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), " %02x", static_cast<unsigned char>(byte));
        bytes += digits.data();
    }
    return bytes.substr(std::min<std::size_t>(1, bytes.size()));
}

/** The document's form of a value as a client gets it; a text that is no UTF-8 as bytes. */
Json documentOf(const Value& value)
{
    static const std::map<std::uint8_t, std::string> names{
        {2, "U8"}, {3, "S8"}, {4, "U16"}, {5, "S16"}, {6, "U32"}, {7, "S32"}, {10, "CHAR"}};
    const std::string& type = names.at(value.type);
    if (type != "CHAR")
        return {{"type", type}, {"value", ImageModel::elements(value)}};
    try {
        static_cast<void>(Json(value.data).dump());
        return {{"type", type}, {"value", value.data}};
    } catch (const Json::type_error&) {
        return {{"type", type}, {"bytes", hexBytes(value.data)}};
    }
}

class HostileImages : public testing::TestWithParam<ImageFamily>
{
protected:
    ProcessResult runIn(const std::string& directory, const std::vector<std::string>& command) const
    {
        const std::string mailboxes = "VARNIX_ITC_DIR=" + (m_directory / "itc").string();
        // The leak checker cannot stop the threads of the processes that the client forks.
        return run(command,
                   {.directory = directory,
                    .environment = {std::string(firstVariable) + "=production.db", secondVariable,
                                    mailboxes, "ASAN_OPTIONS=detect_leaks=0"}});
    }

    ProcessResult varnix(const std::string& directory, std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), VARNIX_TOOL);
        const ProcessResult result = runIn(directory, arguments);
        EXPECT_EQ(result.signal, 0);
        return result;
    }

    /** Some nodes at a time, so that the limit of one run is enough for them. */
    void runClients(std::vector<std::string> directories) const
    {
        constexpr std::size_t atOnce = 10;
        while (!directories.empty()) {
            std::vector<std::string> command{HOSTILE_CLIENT};
            std::string endings;
            for (; !directories.empty() && command.size() <= atOnce; directories.pop_back()) {
                command.push_back(directories.back());
                endings += directories.back() + " status 0 signal 0\n";
            }
            const ProcessResult client = runIn(m_directory.path(), command);
            EXPECT_EQ(client.signal, 0);
            EXPECT_EQ(client.status, 0);
            EXPECT_EQ(client.out, endings);
            EXPECT_EQ(client.err, "");
        }
    }

    std::vector<HostileNode> makeNodes() const
    {
        std::vector<HostileNode> nodes;
        for (const HostileImage& image : GetParam().images)
            for (const Role role : {Role::COMPONENT, Role::PRODUCTION})
                nodes.emplace_back(m_directory.path(), image, role);
        return nodes;
    }

    const TemporaryDirectory m_directory;
};

TEST_P(HostileImages, GiveAClientWhatTheirRecordsSayOrNoDatabase)
{
    const std::vector<HostileNode> nodes = makeNodes();
    std::vector<std::string> directories;
    for (const HostileNode& node : nodes)
        if (!node.isAwaited())
            directories.push_back(node.directory());
    runClients(directories);
    for (const HostileNode& node : nodes) {
        if (node.isAwaited())
            continue;
        EXPECT_EQ(readFile(std::filesystem::path(node.directory()) / ImageReads::readsFile),
                  node.expectedReads())
            << node.directory();
    }
}

TEST_P(HostileImages, AreCheckedAgainstEveryRule)
{
    std::vector<std::string> arguments{"check"};
    bool isAnyWrong = false;
    for (const HostileImage& image : GetParam().images) {
        writeFile(m_directory / (image.name + ".db"), image.bytes);
        arguments.push_back(image.name + ".db");
        isAnyWrong |= !ImageModel::judge(image.bytes).isClean;
    }
    const ProcessResult checked = varnix(m_directory.path(), arguments);
    EXPECT_EQ(checked.status, isAnyWrong ? 1 : 0) << checked.err;
    for (const HostileImage& image : GetParam().images) {
        const auto finding = HasSubstr('\n' + image.name + ".db:@");
        if (ImageModel::judge(image.bytes).isClean)
            EXPECT_THAT('\n' + checked.out, Not(finding));
        else
            EXPECT_THAT('\n' + checked.out, finding);
    }
}

TEST_P(HostileImages, AreDumpedAsASourceOfTheSameBytesOrRefused)
{
    for (const HostileImage& image : GetParam().images) {
        SCOPED_TRACE(image.name);
        writeFile(m_directory / "image.db", image.bytes);
        const ProcessResult dumped = varnix(m_directory.path(), {"dump", "image.db"});
        const bool isAccepted = ImageModel::judge(image.bytes).isAccepted;
        EXPECT_EQ(dumped.status, isAccepted ? 0 : 4) << dumped.err;
        if (!isAccepted) {
            EXPECT_EQ(dumped.out, "");
            EXPECT_THAT(dumped.err, HasSubstr("image.db:@"));
            continue;
        }
        writeFile(m_directory / "image.txt", dumped.out);
        EXPECT_EQ(varnix(m_directory.path(), {"build", "-o", "back.db", "image.txt"}).status, 0);
        EXPECT_EQ(readFile(m_directory / "back.db"), image.bytes);
    }
}

TEST_P(HostileImages, AreReadByGetAsByAClient)
{
    for (const HostileNode& node : makeNodes()) {
        SCOPED_TRACE(node.directory());
        std::vector<std::string> arguments{"get", "--json", ImageReads::config};
        arguments.insert(arguments.end(), node.keys().begin(), node.keys().end());
        const ProcessResult got = varnix(node.directory(), arguments);
        EXPECT_EQ(got.status, node.expectedStatus()) << got.err;
        Json values = Json::parse(got.out).value("values", Json::array());
        for (Json& value : values)
            value.erase("key");
        Json expected = Json::array();
        for (const std::string& key : node.keys())
            if (const Value* const value = node.hasDatabase() ? node.valueOf(key) : nullptr;
                value != nullptr && ImageModel::elementSize(value->type) != 0)
                expected.push_back(documentOf(*value));
        EXPECT_EQ(values, expected);
    }
}

TEST_P(HostileImages, AreExplainedAsAClientReadsThem)
{
    for (const HostileNode& node : makeNodes()) {
        SCOPED_TRACE(node.directory());
        std::vector<std::string> arguments{"explain", "--json", ImageReads::config};
        arguments.insert(arguments.end(), node.keys().begin(), node.keys().end());
        const ProcessResult explained = varnix(node.directory(), arguments);
        EXPECT_EQ(explained.status, node.expectedStatus()) << explained.err;
        const Json keys = Json::parse(explained.out).value("keys", Json::array());
        ASSERT_TRUE(keys.size() == node.keys().size() || (keys.empty() && !node.hasDatabase()));
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const Value* const value = node.hasDatabase() ? node.valueOf(node.keys()[i]) : nullptr;
            const Json& client = keys[i]["client"];
            if (value == nullptr) {
                EXPECT_EQ(client["result"], node.hasDatabase() ? "absent" : "no database");
                continue;
            }
            const bool isRead = ImageModel::elementSize(value->type) != 0;
            EXPECT_EQ(client["result"], isRead ? "value" : "type mismatch");
            if (!isRead)
                continue;
            const Json expected = documentOf(*value);
            for (const char* const form : {"type", "value", "bytes"})
                EXPECT_EQ(client.value(form, Json()), expected.value(form, Json()));
        }
    }
}

TEST(HostileImageSet, HasTwoHundredImagesOfDifferentNamesAndBytes)
{
    std::set<std::string> names;
    std::set<std::string> contents;
    for (const ImageFamily& family : hostileImages())
        for (const HostileImage& image : family.images) {
            EXPECT_TRUE(names.insert(family.name + image.name).second) << image.name;
            contents.insert(image.bytes);
        }
    EXPECT_GE(contents.size(), 200U);
}

INSTANTIATE_TEST_SUITE_P(Each, HostileImages, testing::ValuesIn(hostileImages()),
                         [](const auto& family) { return family.param.name; });

} // namespace
} // namespace Varnix::Test

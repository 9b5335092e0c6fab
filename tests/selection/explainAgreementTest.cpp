#include "tests/selection/randomNode.h"
#include "tests/support/countOf.h"
#include "tests/tools/toolTest.h"

#include <map>

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using Json = nlohmann::json;

constexpr unsigned nodes = 200;
const std::vector<std::string> keys{"/a", "/b", "/c", "/d"};
const std::vector<std::string> paths{"a.db", "b.db", "./a.db", "c.db"};

/** Records with few keys, so that they hide, replace and empty one another. */
DbBuilder randomDatabase(Random& random)
{
    DbBuilder builder;
    for (std::size_t count = below(random, 6); count > 0; --count) {
        const std::string& key = keys[below(random, keys.size())];
        const auto type = static_cast<std::uint8_t>(below(random, 12));
        builder.record({.key = below(random, 10) == 0 ? "x" : key,
                        .type = type,
                        .data = std::string(below(random, 4), static_cast<char>('a' + type))});
    }
    return builder;
}

class ExplainAgreement : public ToolTest
{
protected:
    void writeNode(Random& random) const
    {
        std::string identities;
        for (const std::string& identity : randomIdentities(random))
            identities.append(identities.empty() ? "" : " ").append(identity);
        randomDatabase(random)
            .text("/componentConfigId", identities.empty() ? " " : identities)
            .write(m_directory / "production.db");
        for (const char* name : {"a.db", "b.db", "c.db"})
            randomDatabase(random).write(m_directory / name);
        write("node.cfg", configText(randomEntries(random, paths)));
    }

    /** The subcommand's document about all keys, and its status. */
    std::pair<Json, int> ask(const std::string& subcommand)
    {
        std::vector<std::string> arguments{subcommand, "--json", "node.cfg"};
        arguments.insert(arguments.end(), keys.begin(), keys.end());
        const ProcessResult result =
            varnix(std::move(arguments), {.environment = {"sys_uflash_prod_db_dev=production.db",
                                                          "sys_uflash_prod_db_dev_dev",
                                                          "VARNIX_ITC_DIR=" + itcDirectory()}});
        return {Json::parse(result.out), result.status};
    }

    std::string itcDirectory() const { return (m_directory / "itc").string(); }
};

/** What a client got for each key: its type and value, or how the read failed. */
std::map<std::string, std::string> gotByClient(const Json& document)
{
    std::map<std::string, std::string> results;
    for (const Json& value : document["values"])
        results[value["key"]] =
            value["type"].dump() + value.value("value", Json()).dump() + value.value("bytes", "");
    for (const Json& error : document["errors"]) {
        const std::string message = error["message"];
        results[error["key"]] =
            message.find("there is no such key") != std::string::npos ? "absent" : "type mismatch";
    }
    return results;
}

std::map<std::string, std::string> explained(const Json& document)
{
    std::map<std::string, std::string> results;
    for (const Json& key : document["keys"]) {
        const Json& client = key["client"];
        results[key["key"]] = client["result"] == "value"
                                  ? client["type"].dump() + client.value("value", Json()).dump() +
                                        client.value("bytes", "")
                                  : std::string(client["result"]);
    }
    return results;
}

TEST_F(ExplainAgreement, OfRandomNodesExplainAnswersWhatAClientGets)
{
    Random random(3);
    for (unsigned i = 0; i < nodes; i += everyNth()) {
        writeNode(random);
        const auto [got, gotStatus] = ask("get");
        const auto [explanation, explainStatus] = ask("explain");
        ASSERT_EQ(explained(explanation), gotByClient(got)) << explanation.dump(2);
        ASSERT_EQ(explainStatus, gotStatus);
    }
}

} // namespace
} // namespace Varnix::Test

#ifndef VARNIX_TESTS_FAULTNODE_H
#define VARNIX_TESTS_FAULTNODE_H

#include "tests/support/nodeDirectory.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <varnix/dbRegistryIf.h>

namespace Varnix::Test {

/** The one value that a key of a fault test's node has; long enough not to fit into the object. */
inline const std::string nodeText = "one text that is longer than any small string";
inline const std::vector<std::uint16_t> nodeNumbers = {1, 2, 65535};

/** A node with a production database and one component, whose values are known. */
class FaultNode
{
public:
    FaultNode()
    {
        ::setenv("VARNIX_ITC_DIR", (m_node / "itc").c_str(), 1);
        m_node.production(
            DbBuilder()
                .text("/componentConfigId", "board-x_R2B a_second_identity_of_the_node")
                .text("/both", nodeText)
                .u16("/production/numbers", {1, 2, 65535})
                .extra(unreadRest));
        m_config = m_node.configuration(
            "node.cfg", {{"board-*", "R2*", {m_node.database("component.db", component())}}});
    }

    const std::string& config() const noexcept { return m_config; }
    std::string production() const { return (m_node / "production.db").string(); }

    std::shared_ptr<V1::DatabaseIf> initDb() const
    {
        return V1::DbRegistryIf::getInstance().initDb(m_config);
    }

    /** Whether a handle gives what the node's files hold. */
    static bool isWhole(const V1::DatabaseIf& database)
    {
        std::string text;
        std::vector<std::uint16_t> numbers;
        std::vector<std::uint16_t> ofProduction;
        return database.get("/unit/text", text) == V1::DatabaseIf::RetCode::OK &&
               text == nodeText && database.get("/u16", numbers) == V1::DatabaseIf::RetCode::OK &&
               numbers == nodeNumbers &&
               database.get("/production/numbers", ofProduction) == V1::DatabaseIf::RetCode::OK &&
               ofProduction == nodeNumbers;
    }

private:
    static DbBuilder component()
    {
        return DbBuilder()
            .text("/unit/text", nodeText)
            .text("/both", nodeText)
            .u8("/u8", {1, 2, 255})
            .s8("/s8", {1, -2, 127})
            .u16("/u16", {1, 2, 65535})
            .s16("/s16", {1, -2, 32767})
            .u32("/u32", {1, 2, 4294967295})
            .s32("/s32", {1, -2, 2147483647});
    }

    NodeDirectory m_node;
    std::string m_config;
};

} // namespace Varnix::Test

#endif

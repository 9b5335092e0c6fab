#include "child.h"
#include "dbRegistryImpl.h"
#include "faultNode.h"
#include "tests/support/allocationFailure.h"
#include "textValues.h"
#include "writeIndication.h"

#include <limits>
#include <string>
#include <variant>
#include <vector>

// What a write asks of the memory while no session records: the value that it stores, nothing else.

namespace Varnix::Test {
namespace {

using Backend::DbRegistryImpl;
namespace TextValues = Backend::TextValues;
namespace WriteIndication = Backend::WriteIndication;

constexpr int longestRepeat = std::numeric_limits<int>::max();
const std::string tooLong(200, '7');

/** The bytes that `operation` asks for. */
template <typename Operation>
std::size_t bytesOf(const Operation& operation)
{
    const AllocationCount count(Allocation::ANY);
    operation();
    return count.bytes();
}

class WriteCost : public testing::Test
{
protected:
    /** In a process of its own, with a registry that holds the node's databases. */
    template <typename Body>
    void withRegistry(const Body& body) const
    {
        inChild("write", [&] {
            const auto database = m_node.initDb();
            ASSERT_TRUE(database);
            body(*DbRegistryImpl::getInstance(), *database);
            DbRegistryImpl::freeInstance();
        });
    }

private:
    const FaultNode m_node;
};

TEST_F(WriteCost, OfARepeatThatIsRefusedIsNothing)
{
    withRegistry([](DbRegistryImpl& registry, const V1::DatabaseIf&) {
        const std::string key = "/u16";
        for (const std::string& value : {std::string("7"), std::string("70000"), tooLong})
            for (const int count : {1, 4, longestRepeat})
                EXPECT_EQ(bytesOf([&] { registry.updateDbs(key, value, 3, count); }), 0U)
                    << value << " x " << count;
    });
}

TEST_F(WriteCost, OfARepeatThatIsStoredIsNothingEither)
{
    withRegistry([](DbRegistryImpl& registry, const V1::DatabaseIf& database) {
        const std::string key = "/u16";
        const std::string value = "65535";
        EXPECT_EQ(bytesOf([&] { registry.updateDbs(key, value, 0, 3); }), 0U);
        std::vector<std::uint16_t> stored;
        EXPECT_EQ(database.get(key, stored), V1::DatabaseIf::RetCode::OK);
        EXPECT_EQ(stored, std::vector<std::uint16_t>(3, 65535));
    });
}

TEST_F(WriteCost, OfATextThatIsRefusedIsNothing)
{
    withRegistry([](DbRegistryImpl& registry, const V1::DatabaseIf&) {
        const std::string text = "/both";
        const std::string number = "/u16";
        const std::string bad(200, '-');
        const std::string good(200, 'x');
        EXPECT_EQ(bytesOf([&] { registry.updateDbs(text, bad, false); }), 0U);
        EXPECT_EQ(bytesOf([&] { registry.updateDbs(text, "", true); }), 0U);
        EXPECT_EQ(bytesOf([&] { registry.updateDbs(number, good, false); }), 0U);
    });
}

TEST_F(WriteCost, OfAnIndicationThatIsRejectedIsNothing)
{
    const std::vector<std::vector<std::string>> rejected = {
        {"db", "write", "/u16", "-i", std::string(200, 'x'), "7"},
        {"db", "write", "/u16", "-r", tooLong, "7"},
        {"db", "write", "/u16", "-r", "0000000000000000000000000000000000000000", "7"},
    };
    for (const std::vector<std::string>& words : rejected) {
        EXPECT_EQ(bytesOf([&] {
                      const auto request = WriteIndication::parse(words);
                      EXPECT_TRUE(std::holds_alternative<WriteIndication::Rejected>(request));
                  }),
                  0U);
    }
}

TEST_F(WriteCost, OfANumberThatIsRefusedIsNothing)
{
    for (const std::string& text : {std::string(), tooLong, std::string("0xNoNumber")})
        EXPECT_EQ(bytesOf([&] {
                      EXPECT_TRUE(std::holds_alternative<TextValues::Refusal>(
                          TextValues::parseNumber(text)));
                  }),
                  0U)
            << text;
}

} // namespace
} // namespace Varnix::Test

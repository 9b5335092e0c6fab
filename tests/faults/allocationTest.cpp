#include "child.h"
#include "dbRegistryImpl.h"
#include "faultNode.h"
#include "itc_communication.h"
#include "tests/support/allocationFailure.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <dbcsiMessages.h>

namespace Varnix::Test {
namespace {

using Backend::DbRegistryImpl;
using Backend::Itc_communication;
using RetCode = V1::DatabaseIf::RetCode;

/** Whether the operation threw for want of memory. */
enum class Ending
{
    RETURNED,
    THREW
};

/**
 * Runs `operation` with the first allocation failing, then the second, and so on until none fails,
 * once with only that one failing and once with all that follow it; `check` runs after each, with
 * memory again. Returns how many failures there were.
 */
template <typename Operation, typename Check>
std::size_t failEach(const Operation& operation, const Check& check)
{
    std::size_t failures = 0;
    for (const std::size_t count : {std::size_t{1}, AllocationFailure::all}) {
        bool struck = true;
        for (std::size_t first = 0; struck && !testing::Test::HasFailure(); ++first) {
            Ending ending = Ending::RETURNED;
            {
                const AllocationFailure failure(Allocation::ANY, first, count);
                try {
                    operation();
                } catch (const std::bad_alloc&) {
                    ending = Ending::THREW;
                }
                struck = failure.struck();
            }
            check(ending);
            if (testing::Test::HasFailure())
                std::printf("at allocation %zu, %zu of them\n", first, count);
            failures += struck ? 1 : 0;
        }
    }
    return failures;
}

void report(const std::string& what, std::size_t failures)
{
    EXPECT_GT(failures, 0U) << what;
    std::printf("%s: %zu failed allocations\n", what.c_str(), failures);
}

class AllocationFault : public testing::Test
{
protected:
    const FaultNode m_node;
};

TEST_F(AllocationFault, RegistryIsMadeWholeOrNotAtAll)
{
    inChild("start-up", [&] {
        // Whatever is kept for good is made by the first round.
        DbRegistryImpl::getInstance();
        DbRegistryImpl::freeInstance();
        const std::size_t blocks = liveBlocks(AllocationScope::THREAD);
        const DbRegistryImpl* made = nullptr;
        report("start-up",
               failEach(
                   [&] {
                       made = nullptr;
                       made = DbRegistryImpl::getInstance();
                   },
                   [&](Ending ending) {
                       EXPECT_EQ(made == nullptr, ending == Ending::THREW);
                       DbRegistryImpl::freeInstance();
                       EXPECT_EQ(liveBlocks(AllocationScope::THREAD), blocks);
                       auto database = m_node.initDb();
                       ASSERT_TRUE(database);
                       EXPECT_TRUE(FaultNode::isWhole(*database));
                       database.reset(); // before the registry: a handle's end makes a new one
                       DbRegistryImpl::freeInstance();
                   }));
    });
}

TEST_F(AllocationFault, InitDbGivesAWholeDatabaseOrNone)
{
    inChild("initDb", [&] {
        m_node.initDb();
        const std::size_t blocks = liveBlocks(AllocationScope::THREAD);
        std::shared_ptr<V1::DatabaseIf> database;
        report("initDb", failEach([&] { database = m_node.initDb(); },
                                  [&](Ending) {
                                      EXPECT_TRUE(!database || FaultNode::isWhole(*database));
                                      database.reset();
                                      EXPECT_EQ(liveBlocks(AllocationScope::THREAD), blocks)
                                          << "a store stays registered";
                                      const auto next = m_node.initDb();
                                      ASSERT_TRUE(next);
                                      EXPECT_TRUE(FaultNode::isWhole(*next));
                                  }));
        DbRegistryImpl::freeInstance();
    });
}

TEST_F(AllocationFault, HandleIsDroppedWithoutAnyMemory)
{
    inChild("drop", [&] {
        for (const bool registryThere : {true, false}) {
            auto database = m_node.initDb();
            ASSERT_TRUE(database);
            if (!registryThere)
                DbRegistryImpl::freeInstance();
            const AllocationFailure failure(Allocation::ANY);
            database.reset();
        }
        DbRegistryImpl::freeInstance();
    });
}

/** One overload of get: reads `key` over an old value and must give the old, none or the new one.
 */
template <typename Output>
void failRead(const FaultNode& node, const std::string& key, const Output& old, const Output& whole)
{
    inChild("get " + key, [&] {
        const auto database = node.initDb();
        ASSERT_TRUE(database);
        Output output = old;
        RetCode result{};
        Output next;
        report("get " + key,
               failEach(
                   [&] {
                       Output fresh; // holds no room that would spare an allocation
                       output.swap(fresh);
                       result = database->get(key, output);
                   },
                   [&](Ending ending) {
                       if (ending == Ending::THREW) {
                           EXPECT_TRUE(output.empty());
                       } else {
                           EXPECT_EQ(result, RetCode::OK);
                           EXPECT_EQ(output, whole);
                       }
                       EXPECT_EQ(database->get(key, next), RetCode::OK);
                       EXPECT_EQ(next, whole);
                       // A reader's lock that stayed would keep the writer out for good.
                       DbRegistryImpl::getInstance()->updateDbs("/both", "another text", false);
                       std::string written;
                       EXPECT_EQ(database->get("/both", written), RetCode::OK);
                       EXPECT_EQ(written, "another text");
                   }));
        DbRegistryImpl::freeInstance();
    });
}

TEST_F(AllocationFault, EveryReadGivesAWholeValueOrThrows)
{
    failRead<std::string>(m_node, "/unit/text", "old", nodeText);
    failRead<std::vector<std::string>>(
        m_node, "/unit/text", {"old"},
        {"one", "text", "that", "is", "longer", "than", "any", "small", "string"});
    failRead<std::vector<std::uint8_t>>(m_node, "/u8", {9}, {1, 2, 255});
    failRead<std::vector<std::int8_t>>(m_node, "/s8", {9}, {1, -2, 127});
    failRead<std::vector<std::uint16_t>>(m_node, "/u16", {9}, {1, 2, 65535});
    failRead<std::vector<std::int16_t>>(m_node, "/s16", {9}, {1, -2, 32767});
    failRead<std::vector<std::uint32_t>>(m_node, "/u32", {9}, {1, 2, 4294967295});
    failRead<std::vector<std::int32_t>>(m_node, "/s32", {9}, {1, -2, 2147483647});
}

/** A message as the server sends it. */
itc_msg* message(std::uint32_t number, const std::vector<std::string>& words = {})
{
    std::string strings;
    for (const std::string& word : words)
        strings += word + '\0';
    itc_msg* const made =
        __itc_alloc(Dbcsi::dbWriteIndArgvOffset + strings.size(), number, __FILE__, __LINE__);
    auto* const bytes = reinterpret_cast<char*>(made);
    const auto argc = static_cast<std::int32_t>(words.size());
    std::memcpy(bytes + offsetof(Dbcsi::DbWriteInd, argc), &argc, sizeof argc);
    std::copy(strings.begin(), strings.end(), bytes + Dbcsi::dbWriteIndArgvOffset);
    return made;
}

struct WriteForm
{
    const char* name;
    std::vector<std::string> words;
    std::string text;                   ///< of /both afterwards, or empty
    std::vector<std::uint16_t> numbers; ///< of /u16 afterwards, or empty
};

const std::string longText(100, 'x');

const std::vector<WriteForm> writeForms = {
    {"set", {"db", "write", "/both", "-c", longText}, longText, {}},
    {"append", {"db", "write", "/both", "-a", longText}, nodeText + " " + longText, {}},
    {"list", {"db", "write", "/u16", "-i", "1", "7", "8"}, "", {1, 7, 8}},
    {"repeat", {"db", "write", "/u16", "-r", "3", "-i", "0", "9"}, "", {9, 9, 9}},
    {"plain", {"db", "write", "/u16", "5"}, "", {5, 2, 65535}},
};

void failWrite(const FaultNode& node, const WriteForm& form)
{
    const auto database = node.initDb();
    ASSERT_TRUE(database);
    DbRegistryImpl* const registry = DbRegistryImpl::getInstance();
    Itc_communication channel;
    itc_msg* confirmation = message(Dbcsi::DBCSI_SUBSCRIBE_CFM);
    channel.handleMsg(registry, confirmation);
    __itc_free(&confirmation, __FILE__, __LINE__);
    itc_msg* indication = message(Dbcsi::DBCSI_DBWRITE_IND, form.words);

    const auto restore = [&] {
        registry->updateDbs("/both", nodeText, false);
        registry->updateDbs("/u16", {"1", "2", "65535"}, 0);
    };
    const std::size_t blocks = liveBlocks(AllocationScope::THREAD);
    report(std::string("write ") + form.name,
           failEach([&] { channel.handleMsg(registry, indication); },
                    [&](Ending) {
                        {
                            std::string text;
                            std::vector<std::uint16_t> numbers;
                            EXPECT_EQ(database->get("/both", text), RetCode::OK);
                            EXPECT_TRUE(text == nodeText || text == form.text) << text;
                            EXPECT_EQ(database->get("/u16", numbers), RetCode::OK);
                            EXPECT_TRUE(numbers == nodeNumbers || numbers == form.numbers);
                        }
                        restore();
                        EXPECT_TRUE(FaultNode::isWhole(*database));
                        EXPECT_EQ(liveBlocks(AllocationScope::THREAD), blocks);
                    }));
    __itc_free(&indication, __FILE__, __LINE__);
    DbRegistryImpl::freeInstance();
}

TEST_F(AllocationFault, EveryWriteIsAppliedWholeOrNotAtAll)
{
    for (const WriteForm& form : writeForms)
        inChild(form.name, [&] { failWrite(m_node, form); });
}

} // namespace
} // namespace Varnix::Test

#include "subscriptionServer.h"
#include "systemFixture.h"
#include "tests/support/waitUntil.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace {

using namespace Varnix::Test;
using namespace Varnix::V1;

constexpr std::size_t readerNumber = 4;
constexpr int writesAtOnce = 100;

/** Whether all elements are the same: a value that is written is. */
template <typename Elements>
bool isWhole(const Elements& elements)
{
    return !elements.empty() && std::adjacent_find(elements.begin(), elements.end(),
                                                   std::not_equal_to<>()) == elements.end();
}

/** Reads until `reads` reads are done and the writer is done too; returns how many were torn. */
long readAll(const DatabaseIf& db, long reads, const std::atomic<bool>& written)
{
    long torn = 0;
    std::vector<std::uint16_t> gain;
    std::string label;
    for (long i = 0; i < reads || !written; i += 2) {
        const bool right = db.get("/unit/gain", gain) == DatabaseIf::RetCode::OK && isWhole(gain) &&
                           gain.size() == 4 &&
                           db.get("/unit/label", label) == DatabaseIf::RetCode::OK &&
                           isWhole(label);
        torn += right ? 0 : 1;
    }
    return torn;
}

/** Writes of the one number and of texts of several lengths, through the subscription thread. */
void writeAll(SubscriptionServer& server, const DatabaseIf& db, int writes)
{
    for (int done = 0; done < writes; done += writesAtOnce) {
        std::string last;
        for (int i = 0; i < writesAtOnce; i += 2) {
            last = std::to_string((done + i) % 60'000);
            const auto length = static_cast<std::size_t>(1 + i % 40);
            server.write({"", "", "/unit/label", "-c",
                          std::string(length, static_cast<char>('a' + i % 26))});
            server.write({"", "", "/unit/gain", "-r", "4", last});
        }
        // Not more on the way than a mailbox takes without trouble.
        std::vector<std::uint16_t> gain;
        ASSERT_TRUE(waitUntil([&] {
            db.get("/unit/gain", gain);
            return std::to_string(gain.at(3)) == last;
        }));
    }
}

TEST(ReadersAndWriter, NoReadIsTorn)
{
    const long reads = countOf("VARNIX_TEST_READS", 200'000) / long{readerNumber};
    const int writes = countOf("VARNIX_TEST_WRITES", 2'000);
    const Node node;
    const auto db = DbRegistryIf::getInstance().initDb(node.configuration());
    ASSERT_NE(db, nullptr);
    SubscriptionServer server;
    server.awaitSubscribers(1);

    std::atomic<bool> written{false};
    std::array<long, readerNumber> torn{};
    std::vector<std::thread> readers;
    for (long& one : torn)
        readers.emplace_back([&] { one = readAll(*db, reads, written); });
    writeAll(server, *db, writes);
    written = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(torn, (std::array<long, readerNumber>{}));
}

} // namespace

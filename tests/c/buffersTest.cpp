#include "cFixture.h"
#include "tests/support/allocationFailure.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Varnix::Test;

class CBuffers : public CFixture
{
};

constexpr const char* longKey = "/a/key/that/no/string/holds/in/itself";

/** Reads again inside its visitor, as often as `levels` says, and counts the right values. */
struct Nested
{
    const varnix_database* database;
    int levels;
    int right = 0;

    void read() { varnix_visit_u16(database, longKey, visit, this); }

    static void visit(const std::uint16_t* values, size_t count, void* context)
    {
        auto& nested = *static_cast<Nested*>(context);
        if (--nested.levels > 0)
            nested.read();
        // Whatever the reads inside did, this one's value is still there.
        nested.right += count == 3 && values[0] == 7 && values[1] == 8 && values[2] == 9;
    }
};

TEST_F(CBuffers, ASecondReadOfTheSameSizeAllocatesNothing)
{
    const std::string text(1000, 'x');
    const CHandle handle = open(DbBuilder().u16(longKey, {7, 8, 9}).text("/text", text));
    std::array<std::uint16_t, 3> values{};
    std::array<char, 1001> characters{};
    std::size_t size = 0;
    for (const std::size_t allowed : {AllocationFailure::all, std::size_t{0}}) {
        const AllocationCount count(Allocation::ANY);
        EXPECT_EQ(varnix_get_u16(handle.get(), longKey, values.data(), 3, &size), VARNIX_OK);
        EXPECT_EQ(varnix_get_text(handle.get(), "/text", characters.data(), 1001, &size),
                  VARNIX_OK);
        EXPECT_LE(count.asked(), allowed);
        EXPECT_EQ(count.asked() == 0, allowed == 0);
    }
}

TEST_F(CBuffers, ClosingFreesEverything)
{
    open(DbBuilder().u16(longKey, {7, 8, 9})); // what the registry keeps comes with the first one
    const std::string file = configuration(DbBuilder().u16(longKey, {7, 8, 9}));
    const std::size_t before = liveBlocks(AllocationScope::THREAD);
    varnix_database* database = nullptr;
    ASSERT_EQ(varnix_open(file.c_str(), &database), VARNIX_OK);
    Nested nested{database, 20};
    nested.read();
    EXPECT_EQ(varnix_close(database), VARNIX_OK);
    EXPECT_LE(liveBlocks(AllocationScope::THREAD),
              before + 1); // the registry's list may have grown
}

TEST_F(CBuffers, ReadsInsideAVisitorNeedNotBeFewerThanTheBuffers)
{
    const CHandle handle = open(DbBuilder().u16(longKey, {7, 8, 9}));
    Nested nested{handle.get(), 20};
    nested.read();
    EXPECT_EQ(nested.right, 20);
}

TEST_F(CBuffers, AVisitorThatThrowsGivesItsBufferBack)
{
    const CHandle handle = open(DbBuilder().u16(longKey, {7, 8, 9}));
    const auto fails = [](const std::uint16_t*, size_t, void*) { throw 1; };
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(varnix_visit_u16(handle.get(), longKey, fails, nullptr), VARNIX_FAILED);
    std::size_t size = 0;
    const AllocationCount count(Allocation::ANY);
    EXPECT_EQ(varnix_get_u16(handle.get(), longKey, nullptr, 0, &size), VARNIX_NO_ROOM);
    EXPECT_EQ(count.asked(), 0U);
}

TEST_F(CBuffers, MoreThreadsThanBuffersReadTheirOwnValues)
{
    DbBuilder builder;
    for (std::uint16_t i = 0; i < 16; ++i)
        builder.u16("/key/" + std::to_string(i), {i, i, i});
    const CHandle handle = open(builder);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::uint16_t i = 0; i < 16; ++i)
        threads.emplace_back([&, i] {
            const std::string key = "/key/" + std::to_string(i);
            for (int round = 0; round < 200; ++round) {
                std::array<std::uint16_t, 3> values{};
                std::size_t count = 0;
                const varnix_status status =
                    varnix_get_u16(handle.get(), key.c_str(), values.data(), 3, &count);
                wrong += status != VARNIX_OK || values != std::array{i, i, i};
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace

#include "clientFixture.h"

#include <array>
#include <atomic>
#include <latch>
#include <thread>

namespace {

using namespace Varnix::Test;

class Concurrency : public ClientFixture
{
};

constexpr std::size_t threadNumber = 4;
constexpr int rounds = 50;

/** Runs `work` in several threads that begin together. */
template <typename Work>
void together(const Work& work)
{
    std::latch start(threadNumber);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < threadNumber; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(Concurrency, ThreadsInitialiseAndReadAtOnce)
{
    std::array<std::string, threadNumber> files;
    for (std::size_t i = 0; i < threadNumber; ++i)
        files.at(i) = configuration(DbBuilder().u16("/who", {static_cast<std::int64_t>(i)}));
    std::atomic<int> wrong{0};
    together([&](std::size_t i) {
        for (int round = 0; round < rounds; ++round) {
            const auto db = DbRegistryIf::getInstance().initDb(files.at(i));
            std::vector<std::uint16_t> own;
            std::vector<std::uint16_t> shared;
            const bool right = db && db->get("/who", own) == RetCode::OK && own.size() == 1 &&
                               own[0] == i && db->get("/both", shared) == RetCode::OK;
            wrong += right ? 0 : 1;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(Concurrency, ThreadsReadThroughOneHandle)
{
    const auto db = handle(DbBuilder().u32("/numbers", {1, 2, 3}).text("/text", "two words"));
    ASSERT_NE(db, nullptr);
    std::atomic<int> wrong{0};
    together([&](std::size_t) {
        std::vector<std::uint32_t> numbers;
        std::vector<std::string> words;
        for (int round = 0; round < 100 * rounds; ++round) {
            const bool right = db->get("/numbers", numbers) == RetCode::OK &&
                               numbers == std::vector<std::uint32_t>{1, 2, 3} &&
                               db->get("/text", words) == RetCode::OK && words.size() == 2;
            wrong += right ? 0 : 1;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(Concurrency, HandlesAreDroppedWhileOthersAreMade)
{
    const std::string file = configuration(DbBuilder().u16("/who", {1}));
    together([&](std::size_t) {
        std::shared_ptr<DatabaseIf> kept;
        for (int round = 0; round < rounds; ++round)
            kept = DbRegistryIf::getInstance().initDb(file);
        EXPECT_NE(kept, nullptr);
    });
}

} // namespace

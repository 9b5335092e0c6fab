#include "channelTest.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/endChild.h"

#include <atomic>
#include <thread>

#include <sys/wait.h>

namespace {

using namespace Varnix::Test;

class ChannelFork : public Channel
{
protected:
    static constexpr std::size_t large = 20'000;

    ChannelFork()
    {
        m_node.production(DbBuilder()
                              .text("/componentConfigId", "a_1")
                              .u8("/unit/gain", {1, 2, 3, 4, 5})
                              .u16("/large", std::vector<std::int64_t>(large, 1)));
    }

    static std::vector<std::uint16_t> largeOnes()
    {
        return elements<std::uint16_t>(*registry().getProdDb(), "/large");
    }

    /** Hands the thread a write, which it does not end while the read of the same key waits. */
    void beginWrite()
    {
        std::atomic<bool> received{false};
        m_itc.onReceived([&] { received = true; });
        m_itc.deliver(writeIndication({"db", "write", "/large", "7"}), server);
        const pid_t thread = threadIdsNamed("varnixCmd").at(0);
        int looks = 0;
        EXPECT_TRUE(waitUntil([&] {
            looks = received && isAsleep(thread) ? looks + 1 : 0;
            return looks == 50;
        }));
        m_itc.onReceived({});
    }
};

TEST_F(ChannelFork, DoesNotWaitForAWriteThatDoesNotEnd)
{
    startSubscribed();
    std::atomic<bool> read{false};
    std::thread reader;
    {
        const LargeAllocation memory(large * sizeof(std::uint16_t), CallEffect::waiting());
        reader = std::thread([&] {
            EXPECT_EQ(largeOnes().size(), large);
            read = true;
        });
        EXPECT_TRUE(waitUntil([&] { return memory.isAsked(); }));
        beginWrite();

        ::alarm(static_cast<unsigned>(patience.count())); // a fork that waits ends the test
        const pid_t child = ::fork();
        if (child == 0)
            endChild(gain().size() == 5 ? 0 : 1);
        ::alarm(0);
        EXPECT_FALSE(read);
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    reader.join();
    ASSERT_TRUE(m_itc.waitUntilIdle());
    EXPECT_EQ(largeOnes().front(), 7);
}

} // namespace

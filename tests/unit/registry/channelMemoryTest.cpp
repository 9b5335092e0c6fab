#include "channelTest.h"
#include "inspection/layout.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>

// The library publishes it to tools alone, by a note.
extern "C" Varnix::Inspection::Root varnixInspectionRoot;

namespace {

using namespace Varnix::Test;

class ChannelStart : public Channel
{
protected:
    /** Starts the thread, which asks so for its mailbox, says nothing of it, and can subscribe. */
    void expectAStartIn(const Calls& calls)
    {
        registry();
        ASSERT_TRUE(m_itc.waitUntilIdle());
        EXPECT_EQ(m_itc.newCalls(), joined({calls, locateCalls("m1"), {receiveCall}}));
        EXPECT_EQ(channelRecords(), Records{});
        subscribe();
        EXPECT_TRUE(isSubscribed(77));
    }
};

TEST_F(ChannelStart, MemoryThatRunsOutBeforeTheMailboxIsWaitedFor)
{
    int refusals = 2;
    m_itc.onCall([&](const std::string& function) {
        if (function == "create_mailbox" && refusals-- > 0)
            throw std::bad_alloc();
    });
    expectAStartIn(joined({initCalls, initCalls, initCalls}));
}

TEST_F(ChannelStart, LibraryThatHadNoMemoryForTheStartIsAskedAgain)
{
    int refusals = 2;
    m_itc.onCall([&](const std::string& function) {
        if (function != "init")
            return;
        m_itc.answerInit(refusals > 0 ? -1 : 0);
        errno = refusals-- > 0 ? ENOMEM : 0;
    });
    const Calls init{initCalls.front()};
    expectAStartIn(joined({init, init, initCalls}));
}

TEST_F(ChannelStart, MailboxThatThereWasNoMemoryForIsAskedForAgain)
{
    int refusals = 2;
    m_itc.onCall([&](const std::string& function) {
        if (function != "create_mailbox")
            return;
        m_itc.answerCreateMailbox(refusals > 0 ? ITC_NO_MBOX_ID : FakeItc::mailbox);
        errno = refusals-- > 0 ? ENOMEM : 0;
    });
    expectAStartIn(joined({initCalls, initCalls, initCalls}));
}

TEST_F(Channel, MailboxThatIsRefusedAfterAnEarlierShortageEndsTheThread)
{
    m_itc.answerCreateMailbox(ITC_NO_MBOX_ID);
    m_itc.onCall([](const std::string& function) {
        if (function == "init")
            errno = ENOMEM; // left by a call that succeeds
    });
    expectAnEndWithoutMailbox();
}

struct Exhaustion
{
    const char* name;
    int error;
    const char* text;
};

class ChannelOutOfMemory : public Channel, public testing::WithParamInterface<Exhaustion>
{
};

TEST_P(ChannelOutOfMemory, ExceptionIsTracedAndTheThreadGoesOn)
{
    startSubscribed();
    const std::uint64_t handled = varnixInspectionRoot.handled;
    // Only the word's copy is that large: the message itself is there before the words are read.
    constexpr std::size_t large = 1U << 20U;
    const Bytes indication = writeIndication({"", "", "/unit/gain", std::string(large, '1')});
    std::unique_ptr<LargeAllocation> throwing;
    m_itc.onReceived([&] {
        throwing = std::make_unique<LargeAllocation>(large, CallEffect::failing(GetParam().error));
    });
    receives(indication);
    throwing.reset();
    m_itc.onReceived(nullptr);
    EXPECT_EQ(varnixInspectionRoot.handled, handled + 1) << "it is not waited for";
    EXPECT_EQ(traced(), Records{"ERROR " + site +
                                "\nDBCSI_DBWRITE_IND could not be handled: " + GetParam().text});
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

INSTANTIATE_TEST_SUITE_P(Every, ChannelOutOfMemory,
                         testing::Values(Exhaustion{"BadAlloc", ENOMEM, "std::bad_alloc"},
                                         Exhaustion{"AnotherError", EOVERFLOW,
                                                    "Value too large for defined data type"}),
                         [](const auto& tested) { return tested.param.name; });

/** A channel whose messages of one kind cannot be allocated for a while. */
class ChannelWithoutMemory : public Channel, public testing::WithParamInterface<MessageNumber>
{
protected:
    ~ChannelWithoutMemory() override { DbRegistryImpl::freeInstance(); } // its thread counts here

    /** Brings the thread to where it wants the message, and lets it ask three times. */
    void refuse()
    {
        constexpr int enough = 3;
        m_itc.refuse(GetParam());
        m_itc.onCall([&](const std::string& function) { m_asked += function == "alloc" ? 1 : 0; });
        registry();
        if (GetParam() != DBCSI_LOCATE_IND) {
            ASSERT_TRUE(m_itc.waitUntilIdle());
            m_itc.deliver(message(DBCSI_LOCATE_IND), server);
            m_itc.deliver(connectionConfirmation(), server);
        }
        const int before = m_asked;
        ASSERT_TRUE(waitUntil([&] { return m_asked >= before + enough; }));
    }

    std::atomic<int> m_asked{0};
};

TEST_P(ChannelWithoutMemory, WaitsForItAndGoesOn)
{
    const auto start = std::chrono::steady_clock::now();
    refuse();
    // The thread sleeps between the times that it asks.
    constexpr int others = 4; // messages that are not refused
    EXPECT_LE(m_asked,
              others + (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(100));
    EXPECT_EQ(channelRecords(), Records{});
    m_itc.refuse(0);
    ASSERT_TRUE(m_itc.waitUntilIdle());
    if (GetParam() == DBCSI_LOCATE_IND)
        subscribe();
    else
        receives(message(DBCSI_SUBSCRIBE_CFM));
    EXPECT_TRUE(isSubscribed(77));
    EXPECT_EQ(m_itc.held(), Calls{});
}

TEST_P(ChannelWithoutMemory, EndsWithTheRegistryAllTheSame)
{
    refuse();
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(threadsNamed("varnixCmd"), 0U);
    EXPECT_EQ(m_itc.held(), Calls{});
}

INSTANTIATE_TEST_SUITE_P(Every, ChannelWithoutMemory,
                         testing::Values(DBCSI_LOCATE_IND, DBCSI_SERVER_DOWN_IND,
                                         DBCSI_CONN_ESTABLISH_REQ, DBCSI_SUBSCRIBE_REQ));

} // namespace

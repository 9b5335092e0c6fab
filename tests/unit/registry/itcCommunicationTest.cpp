#include "itc_communication.h"
#include "registryFixture.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"
#include "throwingAllocation.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <new>
#include <semaphore>
#include <thread>

#include <dbcsiMessages.h>
#include <pthread.h>
#include <unistd.h>

namespace {

using namespace Dbcsi;
using namespace Varnix::Backend;
using namespace Varnix::Test;

using Calls = std::vector<std::string>;

constexpr std::uint32_t server = 0x00020007;
constexpr std::uint32_t serverRef = 0x12345678;

const std::string site = "itc_communication.cpp: ";
const std::string unasked =
    "ERROR " + site + "\nITC message DBCSI_DBWRITE_IND received without subscribing.";
const std::string receiveCall = R"(receive(null, 0xffffffff, 0xfff11111, "", 0))";
const Calls initCalls = {
    R"(init(1, 0, null, null, 0, "", 0))",
    "create_mailbox(dbSubscriber" + std::to_string(getpid()) + R"(, 0, "", 0))",
};

/** The calls of a locate request, which is message `name`. */
Calls locateCalls(const std::string& name)
{
    return {R"(alloc(4, 0x170708c, "", 0))",
            "locate_async(DbcsiServer, " + name + R"(, 0xfff00000, "", 0))"};
}

std::string freeCall(const std::string& name)
{
    return "free(" + name + R"(, "", 0))";
}

Calls joined(const std::vector<Calls>& parts)
{
    Calls all;
    for (const Calls& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes message(std::uint32_t number)
{
    return bytesOf({number});
}

Bytes connectionConfirmation(std::uint32_t reference = serverRef)
{
    return bytesOf({DBCSI_CONN_ESTABLISH_CFM, 0xDEADBEEF, reference});
}

class Channel : public RegistryFixture
{
protected:
    Channel()
    {
        m_node.production(
            DbBuilder().text("/componentConfigId", "a_1").u8("/unit/gain", {1, 2, 3, 4, 5}));
    }

    /** Starts the thread and lets it come to its first receive. */
    void start()
    {
        registry();
        ASSERT_TRUE(m_itc.waitUntilIdle());
        traced();
    }

    /** Hands the thread a message and lets it handle it. */
    void receives(const Bytes& bytes, std::uint32_t sender = server)
    {
        m_itc.deliver(bytes, sender);
        ASSERT_TRUE(m_itc.waitUntilIdle());
    }

    /** Hands the thread a message, null for none, that ends it. */
    void endsWith(const Bytes* bytes)
    {
        if (bytes != nullptr)
            m_itc.deliver(*bytes, server);
        else
            m_itc.deliverNothing();
        EXPECT_TRUE(waitUntilEnded());
    }

    /** Starts the thread, which must end for want of a mailbox; the databases stay readable. */
    void expectAnEndWithoutMailbox()
    {
        registry();
        EXPECT_TRUE(waitUntilEnded());
        EXPECT_EQ(m_itc.newCalls(), initCalls);
        EXPECT_EQ(traced().back(),
                  "ERROR " + site + "\nFailed to create mailbox for db change notifications.");
        EXPECT_EQ(gain().size(), 5U);
    }

    static bool waitUntilEnded()
    {
        return waitUntil([] { return threadsNamed("varnixCmd") == 0; });
    }

    /** Brings the thread from its first receive to a subscription. */
    void subscribe()
    {
        receives(message(DBCSI_LOCATE_IND));
        receives(connectionConfirmation());
        receives(message(DBCSI_SUBSCRIBE_CFM));
        m_itc.newCalls();
    }

    void startSubscribed()
    {
        start();
        subscribe();
        ASSERT_EQ(traced(), Records{});
    }

    static std::vector<std::uint8_t> gain()
    {
        return elements<std::uint8_t>(*registry().getProdDb(), "/unit/gain");
    }

    /** What the channel traced since the last call. */
    static Records channelRecords()
    {
        Records own;
        for (const std::string& record : traced())
            if (record.find(' ' + site) != std::string::npos)
                own.push_back(record);
        return own;
    }

    /** Sends a write of `value`; answers whether it was applied. */
    bool isSubscribed(std::uint8_t value)
    {
        receives(writeIndication({"db", "write", "/unit/gain", std::to_string(value)}));
        return gain().at(0) == value;
    }
};

TEST_F(Channel, StartsByLocatingTheServer)
{
    start();
    EXPECT_EQ(m_itc.newCalls(), joined({initCalls, locateCalls("m1"), {receiveCall}}));
    EXPECT_EQ(m_itc.bytes("m1"), message(DBCSI_LOCATE_IND));
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_EQ(traced(), Records{});
}

TEST_F(Channel, InitialisedProcessIsUsable)
{
    m_itc.answerInit(-2);
    start();
    EXPECT_EQ(m_itc.newCalls(), joined({initCalls, locateCalls("m1"), {receiveCall}}));
}

TEST_F(Channel, FailedInitLeadsToTheReceiveWithoutMailbox)
{
    for (const int result : {-1, 1, -3}) {
        m_itc.answerInit(result);
        start();
        EXPECT_EQ(m_itc.newCalls(), (Calls{initCalls.front(), receiveCall})) << result;
        EXPECT_EQ(traced(), Records{});
        DbRegistryImpl::freeInstance();
        m_itc.newCalls();
    }
}

TEST_F(Channel, FailedInitStillHandlesMessages)
{
    m_itc.answerInit(-1);
    start();
    endsWith(nullptr);
    EXPECT_EQ(traced(), Records{"ERROR " + site +
                                "\nITC message reception failure, can not receive notification "
                                "messages."});
}

TEST_F(Channel, FailedInitLeavesItUnsubscribed)
{
    m_itc.answerInit(-1);
    start();
    EXPECT_FALSE(isSubscribed(70));
}

TEST_F(Channel, MailboxThatCannotBeCreatedEndsTheThread)
{
    m_itc.answerCreateMailbox(ITC_NO_MBOX_ID);
    expectAnEndWithoutMailbox();
}

TEST_F(Channel, MemoryThatRunsOutBeforeTheMailboxIsWaitedFor)
{
    int refusals = 2;
    m_itc.onCall([&](const std::string& function) {
        if (function == "create_mailbox" && refusals-- > 0)
            throw std::bad_alloc();
    });
    registry();
    ASSERT_TRUE(m_itc.waitUntilIdle());
    EXPECT_EQ(m_itc.newCalls(),
              joined({initCalls, initCalls, initCalls, locateCalls("m1"), {receiveCall}}));
    EXPECT_EQ(channelRecords(), Records{});
    subscribe();
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, LocateReplyIsMonitoredAndAnsweredWithAConnectionRequest)
{
    start();
    m_itc.newCalls();
    receives(message(DBCSI_LOCATE_IND), server);
    EXPECT_EQ(m_itc.newCalls(), (Calls{
                                    R"(sender(m2, "", 0))",
                                    R"(alloc(12, 0x1707080, "", 0))",
                                    R"(monitor(0x20007, m3, "", 0))",
                                    R"(alloc(24, 0x1707081, "", 0))",
                                    R"(send(m4, 0x20007, 0xfff00000, "", 0))",
                                    freeCall("m2"),
                                    receiveCall,
                                }));
    EXPECT_EQ(m_itc.bytes("m3"), bytesOf({0x01707080, 0xA5A5A5A5, 0xA5A5A5A5}));
    EXPECT_EQ(m_itc.bytes("m4"), bytesOf({0x01707081, 1, 1, 1, 1, 0xA5A5A5A5}));
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_EQ(traced(), Records{});
}

TEST_F(Channel, ConnectionConfirmationIsAnsweredWithItsReference)
{
    start();
    receives(message(DBCSI_LOCATE_IND), server);
    m_itc.newCalls();
    receives(connectionConfirmation());
    EXPECT_EQ(m_itc.newCalls(), (Calls{
                                    R"(alloc(12, 0x1707085, "", 0))",
                                    R"(send(m6, 0x20007, 0xfff00000, "", 0))",
                                    freeCall("m5"),
                                    receiveCall,
                                }));
    EXPECT_EQ(m_itc.bytes("m6"), bytesOf({0x01707085, 1, serverRef}));
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_EQ(traced(), Records{});
}

TEST_F(Channel, SubscriptionConfirmationOpensTheWay)
{
    startSubscribed();
    EXPECT_TRUE(isSubscribed(77));
    EXPECT_EQ(m_itc.newCalls(), (Calls{freeCall("m8"), receiveCall}));
}

TEST_F(Channel, WriteBeforeTheConfirmationIsIgnored)
{
    start();
    EXPECT_FALSE(isSubscribed(70));
    receives(message(DBCSI_LOCATE_IND));
    EXPECT_FALSE(isSubscribed(71));
    receives(connectionConfirmation());
    EXPECT_FALSE(isSubscribed(72));
    EXPECT_EQ(traced(), Records(3, unasked));
    receives(message(DBCSI_SUBSCRIBE_CFM));
    EXPECT_TRUE(isSubscribed(73));
}

TEST_F(Channel, DeadServerIsLocatedAgain)
{
    startSubscribed();
    receives(message(DBCSI_SERVER_DOWN_IND));
    EXPECT_EQ(m_itc.newCalls(), joined({locateCalls("m9"), {freeCall("m8"), receiveCall}}));
    EXPECT_EQ(m_itc.bytes("m9"), message(DBCSI_LOCATE_IND));
    EXPECT_EQ(traced(),
              Records{"INFO " + site +
                      "\nServer mailbox is not responding, trying to re-establish connection."});
    EXPECT_FALSE(isSubscribed(70));
    EXPECT_EQ(traced(), Records{unasked});
}

TEST_F(Channel, RestartedServerGetsItsNewReference)
{
    constexpr std::uint32_t restarted = 0x00030008;
    startSubscribed();
    receives(message(DBCSI_SERVER_DOWN_IND));
    receives(message(DBCSI_LOCATE_IND), restarted);
    EXPECT_FALSE(isSubscribed(70));
    m_itc.newCalls();
    receives(connectionConfirmation(9), restarted);
    EXPECT_EQ(m_itc.newCalls(), (Calls{
                                    R"(alloc(12, 0x1707085, "", 0))",
                                    R"(send(m15, 0x30008, 0xfff00000, "", 0))",
                                    freeCall("m14"),
                                    receiveCall,
                                }));
    EXPECT_EQ(m_itc.bytes("m15"), bytesOf({0x01707085, 1, 9}));
    EXPECT_FALSE(isSubscribed(71));
    receives(message(DBCSI_SUBSCRIBE_CFM), restarted);
    EXPECT_TRUE(isSubscribed(72));
}

struct Ending
{
    const char* name;
    std::uint32_t number; ///< 0 where the receive fails
    const char* trace;
};

class ChannelEnd : public Channel, public testing::WithParamInterface<Ending>
{
};

TEST_P(ChannelEnd, EndsTheThreadAndKeepsItsMessage)
{
    startSubscribed();
    const Bytes last = message(GetParam().number);
    endsWith(GetParam().number == 0 ? nullptr : &last);
    EXPECT_EQ(m_itc.newCalls(), Calls{});
    EXPECT_EQ(m_itc.held(), GetParam().number == 0 ? Calls{} : Calls{"m8"});
    EXPECT_EQ(traced(), Records{"ERROR " + site + GetParam().trace});
    EXPECT_EQ(gain().size(), 5U);
}

INSTANTIATE_TEST_SUITE_P(
    Every, ChannelEnd,
    testing::Values(
        Ending{"ReceptionFailure", 0,
               "\nITC message reception failure, can not receive notification messages."},
        Ending{"ConnectionRejection", DBCSI_CONN_ESTABLISH_REJ,
               "\nConnection establishment failed. The COLI subscription server did not accept "
               "the connection."},
        Ending{"SubscriptionRejection", DBCSI_SUBSCRIBE_REJ,
               "\nSubscription to db updates failed. The COLI subscription server did not accept "
               "the subscription."}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(Channel, SubscriptionRejectionTakesASubscriptionBack)
{
    start();
    Itc_communication channel;
    const auto stops = [&](Bytes bytes) {
        return channel.handleMsg(&registry(), reinterpret_cast<itc_msg*>(bytes.data()));
    };
    EXPECT_FALSE(stops(message(DBCSI_SUBSCRIBE_CFM)));
    EXPECT_TRUE(stops(message(DBCSI_SUBSCRIBE_REJ)));
    EXPECT_FALSE(stops(writeIndication({"db", "write", "/unit/gain", "70"})));
    EXPECT_EQ(traced().back(), unasked);
    EXPECT_EQ(gain().at(0), 1);
}

TEST_F(Channel, UnknownNumbersAreTracedAndIgnored)
{
    startSubscribed();
    Records expected;
    for (const std::uint32_t number : {0x01707084U, 0x01707081U, 0x01707085U, 0x01707088U,
                                       0x01707089U, 0x0170708AU, 0U, 0xFFFFFFFFU}) {
        receives(message(number));
        expected.push_back("ERROR " + site +
                           "\nInvalid message received: message number: " + std::to_string(number));
    }
    EXPECT_EQ(expected.front(),
              "ERROR " + site + "\nInvalid message received: message number: 24146052");
    EXPECT_EQ(traced(), expected);
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, FewerThanFourWordsAreInvalid)
{
    startSubscribed();
    Records expected;
    for (const std::int32_t argc : {3, 0, -1, -2147483647 - 1}) {
        receives(bytesOf({DBCSI_DBWRITE_IND, 0, 0, static_cast<std::uint32_t>(argc), 0}));
        expected.push_back("ERROR " + site +
                           "\nInvalid DBCSI_DBWRITE_IND received, argc: " + std::to_string(argc));
    }
    EXPECT_EQ(traced(), expected);
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, EveryFormReachesItsOperation)
{
    startSubscribed();
    const std::string trace1 = "TRACE1 dbRegistryImpl.cpp: updateDbs, key: /nowhere, ";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"-c", "17"}, "append:0, value: 17"},
        {{"-a", "abc"}, "append:1, value: abc"},
        {{"5"}, "index: 0, values: 5,"},
        {{"-i", "2", "7", "8"}, "index: 2, values: 7,8,"},
        {{"-r", "4", "-i", "1", "9"}, "index: 1, values: 9,9,9,9,"},
    };
    for (const auto& [options, traceText] : cases) {
        std::vector<std::string> words = {"", "", "/nowhere"};
        words.insert(words.end(), options.begin(), options.end());
        receives(writeIndication(words));
        EXPECT_EQ(traced(), Records{trace1 + traceText});
    }
}

TEST_F(Channel, RejectedFormIsTraced)
{
    startSubscribed();
    receives(writeIndication({"", "", "/unit/gain", "-i", "x", "7"}));
    EXPECT_EQ(traced(), Records{"ERROR " + site + "\nDBCSI_DBWRITE_IND with invalid index: x"});
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

TEST_F(Channel, LoneMinusIsTracedAndTheThreadGoesOn)
{
    startSubscribed();
    receives(writeIndication({"", "", "/unit/gain", "-"}));
    EXPECT_EQ(
        traced(),
        (Records{"TRACE1 dbRegistryImpl.cpp: updateDbs, key: /unit/gain, index: 0, values: -,",
                 "ERROR " + site + "\nDBCSI_DBWRITE_IND could not be handled: stoll"}));
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

struct Exhaustion
{
    const char* name;
    AllocationFailure failure;
    const char* text;
};

class ChannelOutOfMemory : public Channel, public testing::WithParamInterface<Exhaustion>
{
};

TEST_P(ChannelOutOfMemory, ExceptionIsTracedAndTheThreadGoesOn)
{
    startSubscribed();
    // Only the word's copy is that large: the message itself is there before the words are read.
    constexpr std::size_t large = 1U << 20U;
    const Bytes indication = writeIndication({"", "", "/unit/gain", std::string(large, '1')});
    std::unique_ptr<ThrowingAllocation> throwing;
    m_itc.onReceived(
        [&] { throwing = std::make_unique<ThrowingAllocation>(large, GetParam().failure); });
    receives(indication);
    throwing.reset();
    m_itc.onReceived(nullptr);
    EXPECT_EQ(traced(), Records{"ERROR " + site +
                                "\nDBCSI_DBWRITE_IND could not be handled: " + GetParam().text});
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_TRUE(isSubscribed(77));
}

INSTANTIATE_TEST_SUITE_P(Every, ChannelOutOfMemory,
                         testing::Values(Exhaustion{"BadAlloc", AllocationFailure::BAD_ALLOC,
                                                    "std::bad_alloc"},
                                         Exhaustion{"LengthError", AllocationFailure::LENGTH_ERROR,
                                                    "too long for the test"}),
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

/** The cancellation state of the calling thread. */
int cancelState()
{
    int state = 0;
    int ignored = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, &ignored);
    return state;
}

TEST_F(Channel, OnlyTheReceiveCanBeCancelled)
{
    std::atomic<int> calls{0};
    std::atomic<int> wrong{0};
    m_itc.onCall([&](const std::string& function) {
        const bool receiving = function == "receive";
        wrong += (cancelState() == PTHREAD_CANCEL_ENABLE) == receiving ? 0 : 1;
        ++calls;
    });
    startSubscribed();
    receives(message(DBCSI_SERVER_DOWN_IND));
    EXPECT_GT(calls, 15);
    EXPECT_EQ(wrong, 0);
}

TEST_F(Channel, CancelledThreadFinishesItsMessageFirst)
{
    start();
    std::binary_semaphore inside{0};
    std::binary_semaphore cancelled{0};
    m_itc.onCall([&](const std::string& function) {
        if (function != "sender")
            return;
        inside.release();
        cancelled.acquire();
        pthread_testcancel();
    });
    m_itc.newCalls();
    m_itc.deliver(message(DBCSI_LOCATE_IND), server);
    inside.acquire();
    std::thread freeing([] { DbRegistryImpl::freeInstance(); });
    cancelled.release();
    freeing.join();
    const Calls calls = m_itc.newCalls();
    ASSERT_GE(calls.size(), 6U);
    EXPECT_EQ(calls[5], freeCall("m2"));
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_EQ(threadsNamed("varnixCmd"), 0U);
}

TEST_F(Channel, ClientsSignalsAreNotTheThreads)
{
    std::atomic<bool> blocked{false};
    m_itc.onCall([&](const std::string&) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked = sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGUSR1) == 1;
    });
    start();
    EXPECT_TRUE(blocked);
}

TEST_F(Channel, FreedRegistryCreatesItsMailboxAnew)
{
    start();
    m_itc.newCalls();
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(m_itc.newCalls(), Calls{});
    start();
    EXPECT_EQ(m_itc.newCalls(), joined({initCalls, locateCalls("m2"), {receiveCall}}));
}

TEST_F(Channel, RecordsNameTheSourceFile)
{
    startSubscribed();
    receives(message(0));
    const std::vector<TraceRecord> records = TraceSession::ofThisProcess().take();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records.front().file, "itc_communication.cpp");
    EXPECT_EQ(records.front().level, 3);
    EXPECT_GT(records.front().line, 0U);
}

} // namespace

#include "channelTest.h"

namespace {

using namespace Varnix::Test;

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

TEST_F(Channel, FreedRegistryCreatesItsMailboxAnew)
{
    start();
    m_itc.newCalls();
    DbRegistryImpl::freeInstance();
    EXPECT_EQ(m_itc.newCalls(), Calls{});
    start();
    EXPECT_EQ(m_itc.newCalls(), joined({initCalls, locateCalls("m2"), {receiveCall}}));
}

} // namespace

#include "connections.h"

#include <gtest/gtest.h>

namespace {

using namespace Dbcsi;

constexpr std::uint32_t alice = 0x11;
constexpr std::uint32_t bob = 0x22;

class ServerConnections : public testing::Test
{
protected:
    std::vector<std::uint32_t> writtenTo()
    {
        std::vector<std::uint32_t> mailboxes;
        m_connections.forEachSubscriber(
            [&](Connection& connection) { mailboxes.push_back(connection.mailbox); });
        return mailboxes;
    }

    Connections m_connections{1000};
};

using Mailboxes = std::vector<std::uint32_t>;

TEST_F(ServerConnections, AConnectionAloneIsNoSubscriber)
{
    m_connections.open(alice);
    EXPECT_EQ(m_connections.subscriberCount(), 0u);
    EXPECT_TRUE(m_connections.subscribers().empty());
    EXPECT_EQ(writtenTo(), Mailboxes{});
}

TEST_F(ServerConnections, EveryConnectionHasAReferenceOfItsOwnCountedUpFromTheFirst)
{
    EXPECT_EQ(m_connections.open(alice), 1000u);
    EXPECT_EQ(m_connections.open(bob), 1001u);
    EXPECT_EQ(m_connections.open(alice), 1002u);
}

TEST_F(ServerConnections, AReferenceServesOnlyTheMailboxItWasGivenTo)
{
    const auto reference = m_connections.open(alice);
    m_connections.open(bob);
    EXPECT_FALSE(m_connections.subscribe(bob, reference));
    EXPECT_FALSE(m_connections.subscribe(alice, reference + 17));
    EXPECT_TRUE(m_connections.subscribe(alice, reference));
    EXPECT_EQ(writtenTo(), Mailboxes{alice});
}

TEST_F(ServerConnections, ANewConnectionEndsTheMailboxsEarlierOne)
{
    const auto earlier = m_connections.open(alice);
    m_connections.subscribe(alice, earlier);
    const auto later = m_connections.open(alice);
    EXPECT_EQ(m_connections.subscriberCount(), 0u);
    EXPECT_FALSE(m_connections.subscribe(alice, earlier));
    m_connections.close(earlier); // the earlier connection's end comes late
    EXPECT_TRUE(m_connections.subscribe(alice, later));
}

TEST_F(ServerConnections, SubscribingTwiceIsOneSubscription)
{
    const auto reference = m_connections.open(alice);
    EXPECT_TRUE(m_connections.subscribe(alice, reference));
    EXPECT_TRUE(m_connections.subscribe(alice, reference));
    EXPECT_EQ(writtenTo(), Mailboxes{alice});
}

TEST_F(ServerConnections, ASubscriberThatWasAskedAnswersBySubscribingAgain)
{
    const auto reference = m_connections.open(alice);
    m_connections.subscribe(alice, reference);
    m_connections.open(bob);
    for (int round = 0; round < 2; ++round) {
        m_connections.askAll([&](std::uint32_t mailbox, std::uint32_t asked) {
            EXPECT_EQ(mailbox, alice);
            EXPECT_EQ(asked, reference);
        });
    }
    m_connections.subscribe(alice, reference);
    EXPECT_EQ(m_connections.unansweredCount(), 1u);
    m_connections.subscribe(alice, reference);
    EXPECT_EQ(m_connections.unansweredCount(), 0u);
}

TEST_F(ServerConnections, AClosedConnectionIsGoneAndTheOthersStay)
{
    const auto ofAlice = m_connections.open(alice);
    m_connections.subscribe(alice, ofAlice);
    m_connections.subscribe(bob, m_connections.open(bob));
    m_connections.close(ofAlice);
    EXPECT_EQ(writtenTo(), Mailboxes{bob});
    EXPECT_FALSE(m_connections.subscribe(alice, ofAlice));
}

TEST_F(ServerConnections, ANewSubscriptionHasNoWritesAndNothingUnanswered)
{
    const auto reference = m_connections.open(alice);
    Connection* const first = m_connections.subscribe(alice, reference);
    ASSERT_NE(first, nullptr);
    Connections::countWrites(*first, 7);
    first->level = true;
    m_connections.askAll([](std::uint32_t, std::uint32_t) {});

    Connections::unsubscribe(*first);
    EXPECT_EQ(m_connections.subscriberCount(), 0u);
    EXPECT_EQ(m_connections.unansweredCount(), 0u);
    const Connection* const second = m_connections.subscribe(alice, reference);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->writes, 0u);
    EXPECT_EQ(second->allWrites, 7u); // the connection is the same
    EXPECT_FALSE(second->level);
}

} // namespace

#include "dbcsiMessages.h"
#include "mailbox.h"
#include "serverFixture.h"
#include "tests/support/waitUntil.h"

#include <chrono>
#include <span>
#include <vector>

namespace {

using namespace Dbcsi;
using namespace ServerTests;

const auto patienceMilliseconds =
    static_cast<std::uint32_t>(std::chrono::milliseconds(Varnix::Test::patience).count());

/** Sends requests as no client of the library would, from a mailbox of the test's own. */
class ServerRequest : public ServerFixture
{
protected:
    void SetUp() override
    {
        static const bool usable =
            Mailbox::initialise(1) && Mailbox::create("requestTest") != ITC_NO_MBOX_ID;
        ASSERT_TRUE(usable);
        startServer();
        locateServer();
    }

    /** A request of exactly these words, the number first. */
    void send(const std::vector<std::uint32_t>& words) const
    {
        Mailbox::send(Mailbox::fromBytes(std::as_bytes(std::span(words))), m_server);
    }

    static Mailbox::Message receive()
    {
        Mailbox::Message message(__itc_receive(nullptr, patienceMilliseconds, ITC_FROM_ALL, "", 0));
        if (!message)
            throw std::runtime_error("no answer came");
        return message;
    }
    static std::uint32_t answerNumber() { return receive()->msgno; }

    /** Connects as the library does and returns the reference. */
    std::uint32_t connect() const
    {
        send({DBCSI_CONN_ESTABLISH_REQ, 1, 1, 1, protocolVersion, 0});
        const auto confirmation = receive();
        EXPECT_EQ(confirmation->msgno, DBCSI_CONN_ESTABLISH_CFM);
        return Mailbox::wordAt(confirmation, 8);
    }

private:
    void locateServer()
    {
        itc_msg* message = Mailbox::allocate(4, DBCSI_LOCATE_IND).release();
        __itc_locate_async(serverMailboxName, &message, ITC_MY_MBOX_ID, "", 0);
        const auto found = receive();
        ASSERT_EQ(found->msgno, DBCSI_LOCATE_IND);
        m_server = Mailbox::senderOf(found);
    }

    std::uint32_t m_server = ITC_NO_MBOX_ID;
};

TEST_F(ServerRequest, ASubscriptionWithItsConnectionsReferenceIsConfirmed)
{
    const auto reference = connect();
    send({DBCSI_SUBSCRIBE_REQ, 1, reference});
    EXPECT_EQ(answerNumber(), DBCSI_SUBSCRIBE_CFM);
    type("status");
    EXPECT_EQ(answer(), "1 subscriber");
}

TEST_F(ServerRequest, AnUnknownReferenceIsRejected)
{
    const auto reference = connect();
    send({DBCSI_SUBSCRIBE_REQ, 1, reference + 1});
    EXPECT_EQ(answerNumber(), DBCSI_SUBSCRIBE_REJ);
    EXPECT_NE(complaint().find("its server reference is not that of a connection"),
              std::string::npos);
}

TEST_F(ServerRequest, ASubscriptionWithoutAConnectionIsRejected)
{
    send({DBCSI_SUBSCRIBE_REQ, 1, 0});
    EXPECT_EQ(answerNumber(), DBCSI_SUBSCRIBE_REJ);
}

TEST_F(ServerRequest, ConnectingAgainNeedsANewSubscription)
{
    const auto earlier = connect();
    send({DBCSI_SUBSCRIBE_REQ, 1, earlier});
    EXPECT_EQ(answerNumber(), DBCSI_SUBSCRIBE_CFM);
    const auto later = connect();
    EXPECT_NE(later, earlier);
    type("status");
    EXPECT_EQ(answer(), "0 subscribers");
    send({DBCSI_SUBSCRIBE_REQ, 1, later});
    EXPECT_EQ(answerNumber(), DBCSI_SUBSCRIBE_CFM);
}

TEST_F(ServerRequest, ANewServersReferencesAreNew)
{
    const auto earlier = connect();
    server().signal(SIGKILL);
    server().wait();
    SetUp();
    EXPECT_NE(connect(), earlier);
    send({DBCSI_SUBSCRIBE_REQ, 1, earlier});
    EXPECT_EQ(answerNumber(), DBCSI_SUBSCRIBE_REJ);
}

TEST_F(ServerRequest, AnUnknownProtocolVersionIsRejected)
{
    send({DBCSI_CONN_ESTABLISH_REQ, 1, 1, 1, 2, 0});
    EXPECT_EQ(answerNumber(), DBCSI_CONN_ESTABLISH_REJ);
    EXPECT_NE(complaint().find("its protocol version is not known here"), std::string::npos);
}

TEST_F(ServerRequest, OneKnownVersionAmongSeveralIsEnough)
{
    for (const auto& request : std::vector<std::vector<std::uint32_t>>{
             {DBCSI_CONN_ESTABLISH_REQ, 1, 1, 2, 3, protocolVersion, 0},
             {DBCSI_CONN_ESTABLISH_REQ, 1, 1, 3, 3, 2, protocolVersion}}) {
        send(request);
        EXPECT_EQ(answerNumber(), DBCSI_CONN_ESTABLISH_CFM);
    }
    std::vector<std::uint32_t> many(20'000, 7);
    many[0] = DBCSI_CONN_ESTABLISH_REQ;
    many[3] = static_cast<std::uint32_t>(many.size() - 5);
    send(many);
    EXPECT_EQ(answerNumber(), DBCSI_CONN_ESTABLISH_REJ);
    many[many.size() - 2] = protocolVersion;
    send(many);
    EXPECT_EQ(answerNumber(), DBCSI_CONN_ESTABLISH_CFM);
}

TEST_F(ServerRequest, AVersionThatIsThereButNotCountedIsNotOffered)
{
    send({DBCSI_CONN_ESTABLISH_REQ, 1, 1, 1, 3, protocolVersion});
    EXPECT_EQ(answerNumber(), DBCSI_CONN_ESTABLISH_REJ);
}

TEST_F(ServerRequest, AConnectionThatOffersNoVersionIsRejected)
{
    send({DBCSI_CONN_ESTABLISH_REQ, 1, 1, 0, 0});
    EXPECT_EQ(answerNumber(), DBCSI_CONN_ESTABLISH_REJ);
}

TEST_F(ServerRequest, ACountOfVersionsThatAreNotThereDoesNoHarm)
{
    send({DBCSI_CONN_ESTABLISH_REQ, 1, 1, 0xFFFFFFFF, protocolVersion, 0});
    EXPECT_EQ(answerNumber(), DBCSI_CONN_ESTABLISH_CFM);
}

TEST_F(ServerRequest, MessagesOfOtherNumbersAreIgnored)
{
    for (const std::uint32_t number : {0u, 0x01707084u, 0x0170708Bu, 0xFFFFFFFFu}) {
        send({number, 1, 2, 3});
        EXPECT_NE(complaint().find("unknown number is ignored"), std::string::npos);
    }
    connect();
}

TEST_F(ServerRequest, TheServersOwnMessagesDoNoHarmFromOutside)
{
    send({0x01707180});
    send({0x01707181, 0});
    connect();
}

} // namespace

#include "control.h"
#include "dbcsiMessages.h"
#include "mailbox.h"
#include "serverFixture.h"
#include "tests/support/waitUntil.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <span>
#include <string>
#include <utility>
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
        static const std::uint32_t mailbox =
            Mailbox::initialise(1) ? Mailbox::create("requestTest") : ITC_NO_MBOX_ID;
        ASSERT_NE(mailbox, ITC_NO_MBOX_ID);
        m_own = mailbox;
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
    /** What the server complains of a message of the test's own. */
    std::string fromThisMailbox(const std::string& text) const
    {
        std::array<char, 32> mailbox{};
        std::snprintf(mailbox.data(), mailbox.size(), "mailbox 0x%08x: ", m_own);
        return std::string("dbcsi-server: ") + mailbox.data() + text;
    }

    static std::uint32_t answerNumber() { return receive()->msgno; }

    /** Connects as the library does and returns the reference. */
    std::uint32_t connect() const
    {
        send({DBCSI_CONN_ESTABLISH_REQ, 1, 1, 1, protocolVersion, 0});
        const auto confirmation = receive();
        EXPECT_EQ(confirmation->msgno, DBCSI_CONN_ESTABLISH_CFM);
        EXPECT_EQ(Mailbox::wordAt(confirmation, 4), 0u);
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

    std::uint32_t m_own = ITC_NO_MBOX_ID;
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
    EXPECT_EQ(complaint(),
              fromThisMailbox("subscription rejected: its server reference is not that of a "
                              "connection"));
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
    EXPECT_EQ(complaint(),
              fromThisMailbox("connection rejected: its protocol version is not known here"));
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

TEST_F(ServerRequest, AControlRequestThatIsNoneIsRefusedWithItsReason)
{
    const std::uint32_t reference = 9;
    const auto reasonFor = [&](std::uint32_t version, std::uint32_t wordCount) {
        send({DBCSI_CONTROL_WRITE_REQ, version, reference, wordCount});
        const auto answer = receive();
        EXPECT_EQ(answer->msgno, DBCSI_CONTROL_WRITE_REJ);
        const WriteRejection rejection = decodeRejection(Mailbox::bytesOf(answer));
        EXPECT_EQ(rejection.reference, reference);
        return std::pair(rejection.refusal, rejection.text);
    };
    EXPECT_EQ(reasonFor(controlVersion, 1),
              std::pair(ControlRefusal::INVALID, std::string("the request is malformed")));
    EXPECT_EQ(reasonFor(controlVersion + 1, 0),
              std::pair(ControlRefusal::VERSION,
                        std::string("the server does not know this request's version")));
}

TEST_F(ServerRequest, MessagesOfOtherNumbersAreIgnored)
{
    for (const std::uint32_t number : {0u, 0x01707084u, 0x0170708Bu, 0xFFFFFFFFu}) {
        send({number, 1, 2, 3});
        EXPECT_EQ(complaint(), fromThisMailbox("a message of an unknown number is ignored"));
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

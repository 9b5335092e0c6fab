#include "subscriptionServer.h"
#include "systemFixture.h"
#include "tests/support/traceSession.h"
#include "tests/support/waitUntil.h"

#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace {

using namespace Dbcsi;
using namespace Varnix::Test;
using namespace Varnix::V1;

using Messages = std::vector<std::string>;
using Values = std::vector<std::uint16_t>;

const std::string unasked = "\nITC message DBCSI_DBWRITE_IND received without subscribing.";

/** The test is the server, its own process the client. */
class MisbehavingServer : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        TraceSession::ofThisProcess();
        s_node = std::make_unique<Node>();
        s_server = std::make_unique<SubscriptionServer>();
        s_db = DbRegistryIf::getInstance().initDb(s_node->configuration());
    }

    static void TearDownTestSuite()
    {
        s_db.reset();
        s_server.reset();
        s_node.reset();
    }

    /** Subscribes the client afresh, whatever the last test left. */
    void SetUp() override
    {
        ASSERT_NE(s_db, nullptr);
        if (s_client == 0) {
            s_server->awaitSubscribers(1);
            s_client = s_server->subscribers().front();
        } else {
            reconnect();
            confirmConnection();
            send({DBCSI_SUBSCRIBE_CFM});
        }
        ASSERT_TRUE(isApplied());
        TraceSession::ofThisProcess().take();
    }

    static void send(const std::vector<std::uint32_t>& words) { deliver(bytesOf(words)); }
    static void deliver(const Bytes& message) { SubscriptionServer::send(s_client, message); }

    /** Waits for the client's next message, which must have this number. */
    static void expectFromClient(std::uint32_t number)
    {
        const auto received = SubscriptionServer::receive(30'000);
        ASSERT_TRUE(received.has_value());
        EXPECT_EQ(received->number, number);
    }

    /** Lets the client believe that the server was found anew; it asks for a connection. */
    static void reconnect()
    {
        send({DBCSI_LOCATE_IND});
        expectFromClient(DBCSI_CONN_ESTABLISH_REQ);
    }

    static void confirmConnection()
    {
        send({DBCSI_CONN_ESTABLISH_CFM, 0, 7});
        expectFromClient(DBCSI_SUBSCRIBE_REQ);
    }

    static Values gain()
    {
        Values values;
        s_db->get("/unit/gain", values);
        return values;
    }

    /** Writes a new value and waits until it is there. */
    static bool isApplied()
    {
        const std::uint16_t value = ++s_lastValue;
        deliver(writeIndication({"", "", "/unit/gain", "-r", "4", std::to_string(value)}));
        return waitUntil([&] { return gain() == Values(4, value); });
    }

    /** The errors that were traced up to now, write events left out. */
    static Messages errors()
    {
        Messages messages;
        for (const TraceRecord& record : TraceSession::ofThisProcess().take())
            if (record.event != "TRACE1")
                messages.push_back(record.msg);
        return messages;
    }

    static std::unique_ptr<Node> s_node;
    static std::unique_ptr<SubscriptionServer> s_server;
    static std::shared_ptr<DatabaseIf> s_db;
    static std::uint32_t s_client;
    static std::uint16_t s_lastValue;
};

std::unique_ptr<Node> MisbehavingServer::s_node;
std::unique_ptr<SubscriptionServer> MisbehavingServer::s_server;
std::shared_ptr<DatabaseIf> MisbehavingServer::s_db;
std::uint32_t MisbehavingServer::s_client = 0;
std::uint16_t MisbehavingServer::s_lastValue = 0;

TEST_F(MisbehavingServer, AnswersLate)
{
    const Values before = gain();
    send({DBCSI_LOCATE_IND});
    expectFromClient(DBCSI_CONN_ESTABLISH_REQ);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(gain(), before);
    confirmConnection();
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(gain(), before);
    send({DBCSI_SUBSCRIBE_CFM});
    EXPECT_TRUE(isApplied());
    EXPECT_EQ(errors(), Messages{});
}

TEST_F(MisbehavingServer, AnswersTwice)
{
    reconnect();
    confirmConnection();
    confirmConnection();
    send({DBCSI_SUBSCRIBE_CFM});
    send({DBCSI_SUBSCRIBE_CFM});
    EXPECT_TRUE(isApplied());
    EXPECT_EQ(errors(), Messages{});
}

TEST_F(MisbehavingServer, IsFoundTwice)
{
    reconnect();
    reconnect();
    confirmConnection();
    send({DBCSI_SUBSCRIBE_CFM});
    EXPECT_TRUE(isApplied());
    EXPECT_EQ(errors(), Messages{});
}

TEST_F(MisbehavingServer, AnswersInTheWrongOrder)
{
    // As if the server had gone: the client forgets its subscription and looks for it again.
    send({DBCSI_SERVER_DOWN_IND, 0, 0});
    deliver(writeIndication({"", "", "/unit/gain", "9"}));
    expectFromClient(DBCSI_CONN_ESTABLISH_REQ);
    send({DBCSI_SUBSCRIBE_CFM});
    EXPECT_TRUE(isApplied());
    confirmConnection();
    EXPECT_TRUE(isApplied());
    EXPECT_EQ(errors(),
              (Messages{"\nServer mailbox is not responding, trying to re-establish connection.",
                        unasked}));
}

TEST_F(MisbehavingServer, SendsUnknownNumbers)
{
    send({0x01707084});
    send({0});
    send({0xFFFFFFFF, 1, 2, 3});
    EXPECT_TRUE(isApplied());
    const std::string invalid = "\nInvalid message received: message number: ";
    EXPECT_EQ(errors(), (Messages{invalid + "24146052", invalid + "0", invalid + "4294967295"}));
}

TEST_F(MisbehavingServer, CountsWordsThatAreNotThere)
{
    const std::string invalid = "\nInvalid DBCSI_DBWRITE_IND received, argc: ";
    deliver(writeIndication({"", "", "/unit/gain", "7"}, 3));
    deliver(writeIndication({"", "", "/unit/gain", "7"}, 0));
    deliver(writeIndication({"", "", "/unit/gain", "7"}, 0xFFFFFFFF));
    // More words than were written, all of them inside the message.
    Bytes padded = writeIndication({"", "", "/unit/gain", "7"}, 8);
    padded.resize(padded.size() + 4);
    deliver(padded);
    EXPECT_TRUE(isApplied());
    EXPECT_EQ(errors(),
              (Messages{invalid + "3", invalid + "0", invalid + "-1", "No value has been given."}));
}

TEST_F(MisbehavingServer, CountsFewerWordsThanThereAre)
{
    deliver(writeIndication({"", "", "/unit/gain", "7", "8", "nonsense"}, 5));
    EXPECT_TRUE(waitUntil([] { return gain().at(1) == 8; }));
    EXPECT_EQ(gain().at(0), 7);
    EXPECT_EQ(errors(), Messages{});
}

TEST_F(MisbehavingServer, SendsNonsenseAsText)
{
    const std::string nonsense = "\x01\xFF%s%n\x7F\n\"";
    deliver(writeIndication({nonsense, nonsense, nonsense, nonsense}));
    deliver(writeIndication({"", "", "/unit/label", "-c", nonsense}));
    deliver(writeIndication({"", "", "/unit/gain", "-i", nonsense, nonsense}));
    deliver(writeIndication({"", "", "/unit/gain", "-r", nonsense, nonsense}));
    deliver(writeIndication({"", "", "/unit/gain", "-"}));
    EXPECT_TRUE(isApplied());
    EXPECT_EQ(errors(),
              (Messages{"Invalid value: " + nonsense, "Invalid characters in string: " + nonsense,
                        "\nDBCSI_DBWRITE_IND with invalid index: " + nonsense,
                        "\nDBCSI_DBWRITE_IND with invalid count: " + nonsense,
                        "\nDBCSI_DBWRITE_IND could not be handled: stoll"}));
}

TEST_F(MisbehavingServer, SendsVeryLongWords)
{
    const std::string longWord(20'000, '1');
    deliver(writeIndication({longWord, longWord, "/unit/label", "-c", longWord}));
    EXPECT_TRUE(waitUntil([&] {
        std::string text;
        s_db->get("/unit/label", text);
        return text == longWord;
    }));
    EXPECT_TRUE(isApplied());
    EXPECT_EQ(errors(), Messages{});
}

} // namespace

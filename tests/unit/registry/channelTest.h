#ifndef VARNIX_TESTS_CHANNELTEST_H
#define VARNIX_TESTS_CHANNELTEST_H

#include "itc_communication.h"
#include "registryFixture.h"
#include "tests/support/processState.h"
#include "tests/support/waitUntil.h"

#include <string>
#include <vector>

#include <dbcsiMessages.h>
#include <unistd.h>

namespace Varnix::Test {

using namespace Dbcsi;
using namespace Backend;

using Calls = std::vector<std::string>;

constexpr std::uint32_t server = 0x00020007;
constexpr std::uint32_t serverRef = 0x12345678;

inline const std::string site = "itc_communication.cpp: ";
inline const std::string unasked =
    "ERROR " + site + "\nITC message DBCSI_DBWRITE_IND received without subscribing.";
inline const std::string receiveCall = R"(receive(null, 0xffffffff, 0xfff11111, "", 0))";
inline const Calls initCalls = {
    R"(init(1, 0, null, null, 0, "", 0))",
    "create_mailbox(dbSubscriber" + std::to_string(getpid()) + R"(, 0, "", 0))",
};

/** The calls of a locate request, which is message `name`. */
inline Calls locateCalls(const std::string& name)
{
    return {R"(alloc(4, 0x170708c, "", 0))",
            "locate_async(DbcsiServer, " + name + R"(, 0xfff00000, "", 0))"};
}

inline std::string freeCall(const std::string& name)
{
    return "free(" + name + R"(, "", 0))";
}

inline Calls joined(const std::vector<Calls>& parts)
{
    Calls all;
    for (const Calls& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline Bytes message(std::uint32_t number)
{
    return bytesOf({number});
}

inline Bytes connectionConfirmation(std::uint32_t reference = serverRef)
{
    return bytesOf({DBCSI_CONN_ESTABLISH_CFM, 0xDEADBEEF, reference});
}

/** The thread "varnixCmd" and the server that it talks to, played by the test. */
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

    /** Sends a write of `value`; returns whether it was applied. */
    bool isSubscribed(std::uint8_t value)
    {
        receives(writeIndication({"db", "write", "/unit/gain", std::to_string(value)}));
        return gain().at(0) == value;
    }
};

} // namespace Varnix::Test

#endif

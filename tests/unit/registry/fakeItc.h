#ifndef VARNIX_TESTS_FAKEITC_H
#define VARNIX_TESTS_FAKEITC_H

#include "tests/support/messageBytes.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <itc.h>
#include <pthread.h>

namespace Varnix::Test {

/**
 * A mailbox library that a test plays: it records every call with its arguments and delivers what
 * the test hands it. The __itc_ functions of a program that links it are its.
 *
 * Messages are named m1, m2 and so on as they come to be.
 */
class FakeItc
{
public:
    /** The content of a message's bytes that nobody wrote. */
    static constexpr unsigned char fresh = 0xA5;
    static constexpr std::uint32_t mailbox = 0x00010001;

    static FakeItc& instance();

    /** Forgets everything; nobody may be in a call. */
    void reset();

    void answerInit(int result) { m_initResult = result; }
    void answerCreateMailbox(std::uint32_t id) { m_mailbox = id; }
    /** Lets the allocation of messages of this number fail. */
    void refuse(std::uint32_t msgno) { m_refused = msgno; }
    /** Calls back at the start of every call, with the function's name. */
    void onCall(std::function<void(const std::string&)> hook) { m_hook = std::move(hook); }

    /** Calls back when a message is about to be handed to the client. */
    void onReceived(std::function<void()> hook) { m_receivedHook = std::move(hook); }

    /** Hands the client's thread a message. */
    void deliver(const Bytes& message, std::uint32_t sender = 0);
    /** Lets the client's receive fail. */
    void deliverNothing();
    /** Waits until everything is handled and the thread is in its receive; false if it never is. */
    bool waitUntilIdle();

    /** Every call since the last call of this one, as source text. */
    std::vector<std::string> newCalls();
    /** The bytes of a message when it was handed over or freed. */
    Bytes bytes(const std::string& message);
    /** The messages that the client holds. */
    std::vector<std::string> held();

    // What the __itc_ functions do.
    void called(const std::string& function, const std::string& arguments);
    int init() const { return m_initResult; }
    std::uint32_t createMailbox() const { return m_mailbox; }
    itc_msg* allocate(std::size_t size, std::uint32_t msgno);
    itc_msg* receive();
    std::uint32_t senderOf(const itc_msg* message);
    /** Takes the message from the client and sets the client's pointer to null. */
    void take(itc_msg** message);
    std::string nameOf(const itc_msg* message);

private:
    struct Message
    {
        std::string name;
        std::uint32_t sender = 0;
        Bytes bytes;                                       ///< when it left the client
        std::unique_ptr<unsigned char[]> memory = nullptr; ///< while the client may hold it

        const itc_msg* address() const;
    };

    FakeItc() = default;
    Message& make(Bytes bytes, std::uint32_t sender);
    Message& find(const itc_msg* message);

    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t m_changed = PTHREAD_COND_INITIALIZER;
    int m_initResult = 0;
    std::uint32_t m_mailbox = mailbox;
    std::atomic<std::uint32_t> m_refused{0};
    std::function<void(const std::string&)> m_hook;
    std::function<void()> m_receivedHook;
    bool m_receiving = false;
    std::deque<Message*> m_inbox; ///< null for a receive that fails
    std::vector<std::string> m_calls;
    std::deque<Message> m_messages;
};

} // namespace Varnix::Test

#endif

#ifndef VARNIX_TESTS_SUBSCRIPTIONSERVER_H
#define VARNIX_TESTS_SUBSCRIPTIONSERVER_H

#include "tests/support/messageBytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Varnix::Test {

/**
 * A subscription server over the host's mailbox library, as well or ill behaved as a test wants.
 * Its mailbox is the calling thread's.
 */
class SubscriptionServer
{
public:
    struct Received
    {
        std::uint32_t number = 0;
        std::uint32_t sender = 0;
    };

    /** Throws when the mailbox cannot be created. */
    SubscriptionServer();

    /** The next message that comes within `milliseconds`. */
    static std::optional<Received> receive(std::uint32_t milliseconds);
    static void send(std::uint32_t to, const Bytes& message);

    /** Answers one message as a server should; false when none comes within `milliseconds`. */
    bool serve(std::uint32_t milliseconds);

    /** Serves until there are `count` subscribers; throws when they do not come. */
    void awaitSubscribers(std::size_t count);

    /** The mailboxes that are subscribed. */
    const std::vector<std::uint32_t>& subscribers() const noexcept { return m_subscribers; }

    /** Sends the words of an operator to every subscriber. */
    void write(const std::vector<std::string>& words) const;

private:
    std::vector<std::uint32_t> m_subscribers;
    std::uint32_t m_reference = 100;
};

} // namespace Varnix::Test

#endif

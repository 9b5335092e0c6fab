#ifndef VARNIX_DBCSI_SERVER_CONNECTIONS_H
#define VARNIX_DBCSI_SERVER_CONNECTIONS_H

#include "processInfo.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Dbcsi {

/** One client: connected, and subscribed once it has asked for that. */
struct Connection
{
    std::uint32_t mailbox = 0;
    std::uint32_t reference = 0;
    ProcessInfo process = {};
    bool subscribed = false;
    std::chrono::system_clock::time_point since = {}; /* the subscription's begin */
    std::uint64_t writes = 0;                         /* write indications sent in it */
    std::uint64_t allWrites = 0;                      /* those sent over the connection */
    std::uint64_t waiting = 0;                        /* bytes, when they were counted last */
    std::uint32_t unanswered = 0; /* how often it was asked and has not answered */
    bool level = false;           /* it was sent what it had missed, where it is sent that */
};

/** Who is connected, in the order of connection. Not safe for threads. */
class Connections
{
public:
    /** References count up from `firstReference`. */
    explicit Connections(std::uint32_t firstReference) : m_nextReference(firstReference) {}

    /** Connects a mailbox, whose earlier connection ends. Returns the new one's reference. */
    std::uint32_t open(std::uint32_t mailbox, const ProcessInfo& process = {});

    /**
     * The connection, now subscribed; null when `reference` is not that of the mailbox's own. A
     * subscriber's further subscription is its answer to askAll. The pointer holds until the next
     * change.
     */
    Connection* subscribe(std::uint32_t mailbox, std::uint32_t reference);

    /** Forgets a connection; does nothing when it has ended already. */
    void close(std::uint32_t reference);

    std::vector<Connection> subscribers() const;
    std::size_t subscriberCount() const;

    /** How many subscribers have not answered askAll. */
    std::size_t unansweredCount() const;

    /** Calls `visit` with every subscriber, which it may change. */
    template <typename Visit>
    void forEachSubscriber(const Visit& visit)
    {
        for (Connection& connection : m_connections)
            if (connection.subscribed)
                visit(connection);
    }

    /** Calls `ask` with every subscriber's mailbox and reference, and expects an answer from each.
     */
    template <typename Ask>
    void askAll(Ask ask)
    {
        forEachSubscriber([&](Connection& connection) {
            ask(connection.mailbox, connection.reference);
            ++connection.unanswered;
        });
    }

    /** Ends a subscription, not the connection: it can be subscribed again. */
    static void unsubscribe(Connection& connection);

    /** Counts write indications that it was sent. */
    static void countWrites(Connection& connection, std::uint64_t count) noexcept
    {
        connection.writes += count;
        connection.allWrites += count;
    }

private:
    std::vector<Connection> m_connections;
    std::uint32_t m_nextReference;
};

} // namespace Dbcsi

#endif

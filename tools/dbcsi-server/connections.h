#ifndef VARNIX_DBCSI_SERVER_CONNECTIONS_H
#define VARNIX_DBCSI_SERVER_CONNECTIONS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Dbcsi {

/** One client: connected, and subscribed once it has asked for that. */
struct Connection
{
    std::uint32_t mailbox;
    std::uint32_t reference;
    std::uint32_t protocolVersion;
    bool subscribed;
    std::chrono::system_clock::time_point since; /* the subscription's begin */
    std::uint64_t writes;                        /* write indications sent to it */
    std::uint32_t unanswered;                    /* how often it was asked and has not answered */
};

/** Who is connected, in the order of connection. Not safe for threads. */
class Connections
{
public:
    /** References count up from `firstReference`. */
    explicit Connections(std::uint32_t firstReference) : m_nextReference(firstReference) {}

    /** Connects a mailbox, whose earlier connection ends. Answers the new one's reference. */
    std::uint32_t open(std::uint32_t mailbox, std::uint32_t protocolVersion);

    /**
     * False when `reference` is not that of the mailbox's own connection. A subscriber's further
     * subscription is its answer to askAll.
     */
    bool subscribe(std::uint32_t mailbox, std::uint32_t reference);

    /** Forgets a connection; does nothing when it has ended already. */
    void close(std::uint32_t reference);

    std::vector<Connection> subscribers() const;
    std::size_t subscriberCount() const;

    /** How many subscribers have not answered askAll. */
    std::size_t unansweredCount() const;

    /** Calls `send` with every subscriber's mailbox and counts a write for each. */
    template <typename Send>
    std::size_t writeToAll(Send send)
    {
        std::size_t count = 0;
        for (Connection& connection : m_connections) {
            if (connection.subscribed) {
                send(connection.mailbox);
                ++connection.writes;
                ++count;
            }
        }
        return count;
    }

    /** Calls `ask` with every subscriber's mailbox and reference, and expects an answer from each.
     */
    template <typename Ask>
    void askAll(Ask ask)
    {
        for (Connection& connection : m_connections) {
            if (connection.subscribed) {
                ask(connection.mailbox, connection.reference);
                ++connection.unanswered;
            }
        }
    }

private:
    std::vector<Connection> m_connections;
    std::uint32_t m_nextReference;
};

} // namespace Dbcsi

#endif

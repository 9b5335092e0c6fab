#ifndef VARNIX_DBCSI_SERVER_SERVICE_H
#define VARNIX_DBCSI_SERVER_SERVICE_H

#include "connections.h"
#include "control.h"
#include "journal.h"
#include "mailbox.h"
#include "settings.h"
#include "words.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Dbcsi {

/**
 * What the server does for clients, operators and the processes that hand it operators' words. All
 * of it is done on the thread that owns the server's mailbox; only the construction is not.
 */
class Service
{
public:
    /** Throws JournalError. */
    explicit Service(const Settings& settings);

    /** Throws what the standard library throws; the message is then lost, and nothing else. */
    void handle(const Mailbox::Message& message);

    /**
     * Sends `words` to every subscriber. Returns those, and what became of the write on its way to
     * each. Throws Mailbox::TooLarge and JournalError, and has sent nothing then.
     */
    std::vector<Receiver> write(const Words& words);

    /** Has every subscriber subscribe again once it has handled what it was sent before. */
    void askAll();

    /** The subscribers, with what waits for them now. */
    std::vector<Connection> subscribers();
    const Connections& connections() const noexcept { return m_connections; }

private:
    void handleConnect(const Mailbox::Message& message);
    void handleSubscribe(const Mailbox::Message& message);
    void handleControl(const Mailbox::Message& message);
    bool accept(std::uint32_t client, const ProcessInfo& process);
    std::vector<std::byte> controlAnswer(const Mailbox::Message& request);
    std::vector<Receiver> dropOverfull();
    bool dropIfOverfull(Connection& connection) const;
    void replay(Connection& connection);
    std::size_t sendMissing(Connection& connection, const std::vector<Words>& missing);

    const Settings m_settings;
    std::optional<Journal> m_journal;
    Connections m_connections;
};

} // namespace Dbcsi

#endif

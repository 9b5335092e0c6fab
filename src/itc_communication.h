#ifndef VARNIX_ITC_COMMUNICATION_H
#define VARNIX_ITC_COMMUNICATION_H

#include <cstdint>
#include <string>
#include <vector>

#include <itc.h>

namespace Varnix::Backend {

class DbRegistryImpl;

/**
 * The client of the subscription server: finds it, connects, subscribes, watches it for death and
 * applies the writes that it brings. Lives on the subscription thread and is used by no other.
 */
class Itc_communication
{
public:
    Itc_communication();

    /** Asks to be told as soon as the server's mailbox exists. */
    void locate_server();

    /** Watches the server whose locate reply is given, and asks it for a connection. */
    void establish_Connection(itc_msg* locateReply);

    void subscribe();

    /** Handles one message, null where the receive failed. Returns whether the thread is to stop.
     */
    bool handleMsg(DbRegistryImpl* registry, itc_msg* message);

    /** The subscription thread. `registry` is the DbRegistryImpl that started it. Returns null. */
    static void* dbSubscription(void* registry);

private:
    void run(DbRegistryImpl& registry);
    bool createMailbox();
    void receiveMessages(DbRegistryImpl& registry);
    bool handleOrReport(DbRegistryImpl& registry, itc_msg* message);
    void handleWriteInd(DbRegistryImpl& registry, const itc_msg* message) const;

    std::uint32_t m_mailbox = ITC_NO_MBOX_ID;
    std::uint32_t m_serverMailbox = ITC_NO_MBOX_ID;
    std::vector<std::uint32_t> m_protocolVersions;
    bool m_subscribed = false;
    std::uint32_t m_serverRef = 0;
};

} // namespace Varnix::Backend

#endif

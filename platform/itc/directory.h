#ifndef VARNIX_PLATFORM_ITC_DIRECTORY_H
#define VARNIX_PLATFORM_ITC_DIRECTORY_H

/**
 * The directory in which the mailboxes of one user's processes find each other. Its entries are
 *
 *     m-ID     the endpoint of a mailbox, a listening socket; ID is eight hexadecimal digits
 *     n-NAME   a link to the endpoint of the mailbox of that name
 *     w-ID     a socket of a mailbox that waits for names: whoever creates one sends a byte to it
 *     t-ID     one of these sockets while it is made; it is renamed when it can be reached
 *
 * An endpoint lives exactly as long as its process. What a dead process left is told by a socket
 * that nobody has bound, and removed.
 *
 * No operation waits for another process. An entry is made by one call that fails where it exists
 * already. Only who removes a dead process's name holds the directory's lock (flock), so that two
 * do not take turns, and gives up where another process has it. A name is removed when its endpoint
 * has been found dead between two equal looks at the name: an owner that lives removes its name
 * before its endpoint.
 */

#include "descriptor.h"
#include "place.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace Itc {

class Directory
{
public:
    /** The directory that the environment names. It is not opened yet. */
    Directory();

    /** Opens it, makes it where it is missing, and removes what dead processes left. Throws. */
    void open();

    /** An id for a mailbox of this process. */
    std::uint32_t newId();
    /** The listening socket of such an id. */
    Descriptor bindEndpoint(std::uint32_t id);
    /** Gives the name to a mailbox of this process. Its id, or that of the live one that has it. */
    std::uint32_t claim(const std::string& nameEntry, std::uint32_t id);
    /** Removes the entries of a mailbox of this process and forgets its id. */
    void remove(std::uint32_t id, const std::string& nameEntry) noexcept;
    /** Whether it is a mailbox of this process. */
    bool isOurs(std::uint32_t id) const { return m_ours.contains(id); }

    /** The live mailbox of that name, or ITC_NO_MBOX_ID. */
    std::uint32_t find(std::string_view name);
    /** A connection to a mailbox that blocks nowhere; none where the mailbox has gone. */
    Descriptor connect(std::uint32_t id);
    /** Whether a process of the directory's owner is at the other end. */
    bool isOwnUser(int connection) const noexcept { return m_place.isOwnUser(connection); }

    /** A socket that is sent a byte whenever a mailbox has been created. */
    struct Channel
    {
        Descriptor socket;
        std::string entry;
    };
    Channel openChannel();
    void removeEntry(const std::string& entry) const noexcept { m_place.remove(entry); }
    /** Sends that byte. */
    void wakeWaiters();

private:
    void ensureUsable();
    void sweep();
    Descriptor tryLock() const;
    Descriptor bindSocket(int type, const std::string& entry);
    void removeDeadName(const std::string& nameEntry);

    std::uint32_t ownerOf(const std::string& nameEntry) const;
    bool isAlive(const std::string& entry) const;
    bool isReachable(std::uint32_t id);
    bool isLeftOver(const std::string& entry) const;

    Place m_place;
    Descriptor m_probe; ///< kept, so that looking needs no free descriptor
    std::uint32_t m_lastId;
    std::map<std::uint32_t, bool> m_ours; ///< whether the endpoint is bound
};

} // namespace Itc

#endif

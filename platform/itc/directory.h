#ifndef VARNIX_PLATFORM_ITC_DIRECTORY_H
#define VARNIX_PLATFORM_ITC_DIRECTORY_H

/**
 * The directory in which the mailboxes of one user's processes find each other. In it stand
 *
 *     m-ID     the endpoint of a mailbox, a listening socket; ID is eight hexadecimal digits
 *     n-NAME   a link to the endpoint of the mailbox of that name
 *     w-ID     a socket of a mailbox that waits for names: whoever creates one sends a byte to it
 *     lock     held while one of these is created or taken over; it holds the last id given
 *
 * An endpoint lives exactly as long as its process: what a dead one left behind is told by a
 * socket that nobody has bound, and removed.
 */

#include "descriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/un.h>

namespace Itc {

class Directory
{
public:
    struct Endpoint
    {
        std::uint32_t id;
        Descriptor socket; ///< listening
        std::string entry; ///< of its name
    };

    /** Opens the directory that the environment names, made where it is missing. Throws. */
    static Directory open();

    /** Creates a mailbox's endpoint under a name, unless a live one holds it or it is too long. */
    std::optional<Endpoint> create(std::string_view name) const;
    /** Removes the entries of a mailbox of this process. */
    void remove(std::uint32_t id, const std::string& nameEntry) const noexcept;

    /** The live mailbox of that name, or ITC_NO_MBOX_ID. */
    std::uint32_t find(std::string_view name) const;
    /** A connection to a mailbox that blocks nowhere; none where the mailbox has gone. */
    Descriptor connect(std::uint32_t id) const;

    /** A socket that is sent a byte whenever a mailbox has been created. */
    Descriptor openChannel(std::uint32_t id) const;
    void removeChannel(std::uint32_t id) const noexcept;

    /** Removes what dead processes left behind. */
    void sweep() const;

private:
    Directory(Descriptor descriptor, Descriptor probe) noexcept
        : m_descriptor(std::move(descriptor)), m_probe(std::move(probe))
    {
    }

    Descriptor lock() const;
    Endpoint bindNextId(const Descriptor& lock) const;
    void wakeWaiters() const;

    std::uint32_t ownerOf(const std::string& nameEntry) const;
    bool isAlive(const std::string& entry) const noexcept;
    bool isLeftOver(const std::string& entry) const;
    void removeEntry(const std::string& entry) const noexcept;
    std::optional<sockaddr_un> addressOf(const std::string& entry) const noexcept;

    Descriptor m_descriptor;
    Descriptor m_probe; ///< kept, so that looking needs no free descriptor
};

} // namespace Itc

#endif

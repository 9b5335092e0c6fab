#ifndef VARNIX_PLATFORM_ITC_LINK_H
#define VARNIX_PLATFORM_ITC_LINK_H

/**
 * The way from this process to one mailbox: a connection, which says that both ends live, and a
 * stream, which holds the frames.
 *
 * The stream is an anonymous file whose descriptor the first send hands to the mailbox. It takes
 * whatever is written to it at once, so no send waits for its receiver, and what was sent outlives
 * the sender. The file's offset, which both ends share, says how far whole frames reach; a byte
 * on the connection wakes the receiver.
 */

#include "descriptor.h"
#include "directory.h"
#include "frame.h"

#include <cstdint>
#include <map>
#include <memory>

#include <sys/types.h>

namespace Itc {

/** What hands over a stream begins with these bytes; any other connection is a monitor's. */
struct Greeting
{
    std::uint32_t magic = 0x48435449; // "ITCH"
    std::uint32_t version = 1;
    bool operator==(const Greeting&) const = default;
};

class Link
{
public:
    explicit Link(Descriptor connection) noexcept : m_connection(std::move(connection)) {}

    /** Sends a frame; false where the mailbox has gone. Throws where it cannot be written. */
    bool send(const Frame& frame);

    /** The process that listens at the other end; 0 where its id cannot be told. */
    pid_t process() const noexcept;
    /** How much of what was sent the other end has not taken yet. */
    std::uint64_t waiting() noexcept;

    /** Hangs up when the mailbox goes. */
    int connection() const noexcept { return m_connection.get(); }

private:
    void write(const Frame& frame);
    bool greet();

    Descriptor m_connection;
    Descriptor m_stream; ///< made by the first send
    off_t m_written = 0;
    off_t m_taken = 0; ///< by the receiver, as far as it was looked for
    bool m_greeted = false;
};

/** The links of this process, one to each mailbox that it sends to or monitors. */
class Links
{
public:
    /** The link to a mailbox, made where it is missing; null where the mailbox has gone. */
    std::shared_ptr<Link> to(std::uint32_t mailbox, const Directory& directory);
    void drop(std::uint32_t mailbox, const std::shared_ptr<Link>& link);
    void clear() { m_links.clear(); }

private:
    void dropDead();

    std::map<std::uint32_t, std::shared_ptr<Link>> m_links;
};

} // namespace Itc

#endif

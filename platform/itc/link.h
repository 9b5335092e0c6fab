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
 *
 * Where the process's file-size limit leaves no room in the stream, the connection itself carries
 * the frames from then on: `inBandMark` says so, after the last wake.
 *
 * What cannot be sent yet is kept in this process's memory, in its order.
 */

#include "descriptor.h"
#include "directory.h"
#include "frame.h"

#include <cstdint>
#include <list>
#include <new>
#include <span>
#include <vector>

#include <sys/types.h>
#include <sys/uio.h>

namespace Itc {

/** What hands over a stream begins with these bytes; any other connection is a monitor's. */
struct Greeting
{
    std::uint32_t magic = 0x48435449; // "ITCH"
    std::uint32_t version = 1;
    bool operator==(const Greeting&) const = default;
};

/** A byte that wakes, and the one after which the connection carries frames. */
inline constexpr char wakeMark = '\0';
inline constexpr char inBandMark = 'F';

/** Thrown where a frame is neither sent nor kept. */
class NotKept : public std::bad_alloc
{
public:
    const char* what() const noexcept override
    {
        return "no memory to keep a message until it can be sent";
    }
};

class Link
{
public:
    explicit Link(std::uint32_t mailbox) : m_mailbox(mailbox) {}

    /** Makes the connection where it is missing; false where the mailbox has gone. Throws. */
    bool connect(Directory& directory);
    /** Keeps a frame after those that are kept already. Throws NotKept alone. */
    void keep(const Frame& frame);
    /** Sends what is kept; false where the mailbox has gone. Throws. */
    bool flush(Directory& directory);
    /** The same for one frame more, which is kept where that throws anything but NotKept. */
    bool send(const Frame& frame, Directory& directory);

    /** Whether something is left to be sent. */
    bool isBehind() const noexcept { return !m_kept.empty() || m_unannounced; }
    std::size_t kept() const noexcept { return m_kept.size(); }
    /** The process that listens at the other end; 0 where its id cannot be told. */
    pid_t process() const noexcept;
    /** How much of what was sent the other end has not taken yet, in bytes. */
    std::uint64_t waiting() noexcept;
    /** Hangs up when the mailbox goes; -1 where it is not made. */
    int connection() const noexcept { return m_connection.get(); }

private:
    bool hasRoom(std::size_t size) const noexcept;
    void write(std::span<iovec> parts, std::size_t size);
    void goInBand();
    bool announce();
    bool greet();
    bool sendInBand();
    std::uint64_t waitingInStream() noexcept;

    const std::uint32_t m_mailbox;
    Descriptor m_connection;
    Descriptor m_stream;
    off_t m_written = 0;
    off_t m_taken = 0; ///< by the receiver, as far as it was looked for
    bool m_greeted = false;
    bool m_unannounced = false; ///< the stream holds what the receiver has not been told
    bool m_inBand = false;
    std::list<std::vector<std::byte>> m_kept;
    std::size_t m_sent = 0; ///< bytes of the first of them, in band
};

} // namespace Itc

#endif

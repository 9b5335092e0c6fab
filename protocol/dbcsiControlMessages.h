#ifndef VARNIX_DBCSI_CONTROL_MESSAGES_H
#define VARNIX_DBCSI_CONTROL_MESSAGES_H

/**
 * How another process hands an operator's words to the subscription server of a host, which sends
 * them to its subscribers and says who they went to.
 *
 * Sent to the mailbox "DbcsiServer", and answered to the sender's mailbox, a request by exactly one
 * answer. Integers are in the host's byte order; a message begins with its number, and the long
 * words of 64 bits are not aligned. Only processes of one user share a mailbox directory, so
 * whoever can send may command.
 */

#include <cstddef>
#include <cstdint>

namespace Dbcsi {

/** The version of these messages; a server refuses a request of another. */
inline constexpr std::uint32_t controlVersion = 1;

enum ControlMessageNumber : std::uint32_t
{
    /**
     * offset 4 controlVersion; 8 a number that the answer repeats; 12 the number of words; 16 the
     * words, packed, each ended by a NUL byte.
     */
    DBCSI_CONTROL_WRITE_REQ = 0x01707090,
    /**
     * offset 4 the request's number; 8 the number of subscribers; 12 for each of them a record of
     * controlReceiverSize bytes; then for each its command, ended by a NUL byte.
     *
     * A record: offset 0 process id, 4 start time of the process in clock ticks since boot (64
     * bits; 0 where it is not known), 12 how many writes its subscription has been sent, this one
     * included (64 bits), 20 a ControlOutcome, 24 the connection's reference, 28 how many writes
     * that connection has been sent (64 bits), which is what the subscriber counts.
     */
    DBCSI_CONTROL_WRITE_CFM = 0x01707091,
    /** offset 4 the request's number; 8 a ControlRefusal; 12 the reason in words, NUL-ended. */
    DBCSI_CONTROL_WRITE_REJ = 0x01707092,
};

inline constexpr std::size_t controlReceiverSize = 36;

/** What became of a write on its way to one subscriber. */
enum class ControlOutcome : std::uint32_t
{
    SENT = 0,
    NOT_SENT = 1, ///< the server could not hand it over
    DROPPED = 2   ///< too much waits for the subscriber, which is none any more
};

/** Why nothing was sent to anybody. */
enum class ControlRefusal : std::uint32_t
{
    INVALID = 1,   ///< no write: malformed, too short or too large, a command of the server
    JOURNAL = 2,   ///< the journal cannot be written
    EXHAUSTED = 3, ///< the server has no memory
    VERSION = 4    ///< the request's version is not known
};

} // namespace Dbcsi

#endif

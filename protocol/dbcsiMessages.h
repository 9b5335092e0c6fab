#ifndef VARNIX_DBCSI_MESSAGES_H
#define VARNIX_DBCSI_MESSAGES_H

/**
 * The messages between a subscriber and the subscription server "DbcsiServer".
 *
 * Every field is a 32-bit unsigned integer in the node's own byte order; a
 * message begins with its number. The layouts are frozen: both ends of a
 * running node may be of different ages.
 */

#include <cstddef>
#include <cstdint>

namespace Dbcsi {

/** The server's mailbox. */
inline constexpr const char* serverMailboxName = "DbcsiServer";

/** A subscriber's mailbox is named by this, followed by its process id in decimal. */
inline constexpr const char* subscriberMailboxPrefix = "dbSubscriber";

/** The protocol version that the library speaks. */
inline constexpr std::uint32_t protocolVersion = 1;

enum MessageNumber : std::uint32_t
{
    DBCSI_SERVER_DOWN_IND = 0x01707080,
    DBCSI_CONN_ESTABLISH_REQ = 0x01707081,
    DBCSI_CONN_ESTABLISH_CFM = 0x01707082,
    DBCSI_CONN_ESTABLISH_REJ = 0x01707083,
    DBCSI_SUBSCRIBE_REQ = 0x01707085,
    DBCSI_SUBSCRIBE_CFM = 0x01707086,
    DBCSI_SUBSCRIBE_REJ = 0x01707087,
    DBCSI_DBWRITE_IND = 0x0170708B,
    DBCSI_LOCATE_IND = 0x0170708C,
};

/** Delivered by the monitor when the server's mailbox goes. */
struct ServerDownInd
{
    std::uint32_t msgno;
    std::uint32_t unused[2];
};

/** Followed by the offered versions, then by one word that nobody writes. */
struct ConnEstablishReq
{
    std::uint32_t msgno;
    std::uint32_t one;
    std::uint32_t alsoOne;
    std::uint32_t versionCount;
    std::uint32_t versions[1];
};

/** Size of a connection request that offers `versions` protocol versions. */
constexpr std::size_t connEstablishReqSize(std::size_t versions) noexcept
{
    return 20 + 4 * versions;
}

struct ConnEstablishCfm
{
    std::uint32_t msgno;
    std::uint32_t unused;
    std::uint32_t serverRef;
};

struct SubscribeReq
{
    std::uint32_t msgno;
    std::uint32_t one;
    std::uint32_t serverRef;
};

/** The answers that carry nothing but their number: CONN_ESTABLISH_REJ, SUBSCRIBE_CFM and _REJ. */
struct PlainAnswer
{
    std::uint32_t msgno;
};

/** An operator's command words: `argc` strings, packed, each ended by a NUL byte. */
struct DbWriteInd
{
    std::uint32_t msgno;
    std::uint32_t unused[2];
    std::uint32_t argc;
    char argv[1];
};

/** Where the strings of a write indication begin. */
inline constexpr std::size_t dbWriteIndArgvOffset = 16;

static_assert(sizeof(ServerDownInd) == 12);
static_assert(offsetof(ConnEstablishReq, versions) == 16);
static_assert(offsetof(ConnEstablishCfm, serverRef) == 8);
static_assert(sizeof(SubscribeReq) == 12);
static_assert(offsetof(DbWriteInd, argv) == dbWriteIndArgvOffset);

} // namespace Dbcsi

#endif

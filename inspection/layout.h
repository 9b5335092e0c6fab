#ifndef VARNIX_INSPECTION_LAYOUT_H
#define VARNIX_INSPECTION_LAYOUT_H

#include <cstdint>

/**
 * What the library shows of itself to a tool that may read its process's memory.
 *
 * The loaded image carries an ELF note whose description leads to a Root, and the Root to the
 * registry's stores. Nothing else is needed: no symbol, no thread, no message. The library and the
 * tool may be of different releases, so whatever changes here changes the layout's number too.
 *
 * All numbers are in the process's byte order. A counter called `changes` is odd while what it
 * belongs to changes: a reader that finds it even, and the same after reading, has read one state.
 */
namespace Varnix::Inspection {

/** An address in the inspected process. */
using Address = std::uint64_t;

/** The note's owner and type, and the number of the layout that this header describes. */
inline constexpr char noteOwner[] = "Varnix";
inline constexpr std::uint32_t noteType = 1;
inline constexpr std::uint32_t layoutNumber = 1;

/** The note's description. */
struct Note
{
    std::uint32_t layout;
    std::uint32_t unused;
    std::int64_t toRoot; ///< the Root's address less that of this description
};

/** Where the subscription to run-time writes is. */
enum class Subscription : std::uint32_t
{
    NO_MAILBOX = 0,
    LOCATING = 1,
    CONNECTING = 2,
    SUBSCRIBING = 3,
    SUBSCRIBED = 4,
    STOPPED = 5
};

/** The registry, one in a process. */
struct Root
{
    std::uint64_t changes;    ///< of the list of stores
    Address firstStore;       ///< the production store; the others as they came; 0: no registry
    std::uint64_t storeCount; ///< the list's length
    std::uint32_t subscription;
    std::uint32_t serverRef;        ///< the subscribed connection's reference, from the server
    std::uint64_t handled;          ///< write indications handled since the registry was made
    std::uint64_t handledConnected; ///< those since the connection `serverRef` was subscribed first
};

/** One database. */
struct Store
{
    Address next;                 ///< 0 after the last
    std::uint64_t serial;         ///< no other store of the process ever has the same
    std::uint64_t changes;        ///< of the values; keys and types never change
    Address config;               ///< the configuration file's path as initDb was given it
    std::uint64_t configSize;     ///< 0 for the production store
    Address parameters;           ///< an array of Parameter
    std::uint64_t parameterCount; ///< its length
};

/** One parameter. */
struct Parameter
{
    Address key;
    std::uint32_t keySize;
    std::uint32_t unused;
    Address value;           ///< big-endian elements, or text
    std::uint32_t valueSize; ///< in bytes
    std::uint8_t type;       ///< as in a database file
    std::uint8_t padding[3];
};

static_assert(sizeof(Note) == 16);
static_assert(sizeof(Root) == 48);
static_assert(sizeof(Store) == 56);
static_assert(sizeof(Parameter) == 32);

} // namespace Varnix::Inspection

#endif

#ifndef VARNIX_DBCSI_SERVER_PROCESSINFO_H
#define VARNIX_DBCSI_SERVER_PROCESSINFO_H

#include <compare>
#include <cstdint>
#include <string>

namespace Dbcsi {

/**
 * A client of this boot of the host. Process ids are given again, but not with the same start time.
 * A process that executes a program anew keeps both, and loses its mailbox with all that it had.
 */
struct ProcessId
{
    std::int32_t process = 0;    ///< 0 where it cannot be told
    std::uint64_t startTime = 0; ///< in clock ticks since boot; 0 where it cannot be told
    std::uint32_t mailbox = 0;   ///< the client's; 0 where a journal does not name it

    auto operator<=>(const ProcessId&) const = default; // NOLINT(modernize-use-nullptr)

    /** Whether it cannot be mistaken for another process. */
    bool isKnown() const noexcept { return process != 0 && startTime != 0; }
};

struct ProcessInfo
{
    ProcessId id;
    std::string command; ///< the short name as it is, up to a line's end

    /** "process 1234 (client)", as a terminal shows it */
    std::string text() const;
};

/** What /proc tells of a mailbox's process; of one that has ended, nothing but its id. */
ProcessInfo processInfo(std::int32_t process, std::uint32_t mailbox);

/** What tells this boot of the host from every other; empty where /proc does not say. */
std::string bootId();

} // namespace Dbcsi

#endif

#ifndef VARNIX_DBCSI_SERVER_ENDSIGNALS_H
#define VARNIX_DBCSI_SERVER_ENDSIGNALS_H

#include "fileDescriptor.h"

#include <chrono>
#include <optional>

namespace Dbcsi {

/**
 * SIGTERM, SIGINT and SIGHUP as an event to wait for, so that they end the server between two
 * commands and never within one; but not one of them that is ignored. Made before any thread, so
 * that no thread takes them.
 */
class EndSignals
{
public:
    enum class Wait
    {
        READY,
        ENDED,
        TIMED_OUT
    };
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    EndSignals();

    /** Waits until `fd` can be read, the end was signalled, or the time is over. */
    Wait waitFor(int fd, Deadline deadline = std::nullopt) const;

    /** Waits until the end is signalled. */
    void wait() const;

private:
    FileDescriptor m_fd;
};

} // namespace Dbcsi

#endif

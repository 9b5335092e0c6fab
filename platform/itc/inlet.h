#ifndef VARNIX_PLATFORM_ITC_INLET_H
#define VARNIX_PLATFORM_ITC_INLET_H

/** The receiving end of a connection to a mailbox: see link.h. */

#include "descriptor.h"
#include "frame.h"

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

#include <sys/types.h>

namespace Itc {

class Inlet
{
public:
    explicit Inlet(Descriptor connection) noexcept : m_connection(std::move(connection)) {}

    /**
     * Hands on the frames that have arrived; false when no more will, because the other end has
     * gone or sent what it should not. `buffer` has room for the largest frame. Throws where
     * something is short; what has not been handed on then is handed on by a later call.
     */
    bool read(std::span<std::byte> buffer, const std::function<void(const Frame&)>& take);

private:
    enum class Connection
    {
        QUIET,
        WOKEN,
        OVER
    };

    Connection readConnection();
    Connection readInBand(const std::function<void(const Frame&)>& take);
    Connection readGreeting();
    bool readStream(std::span<std::byte> buffer, const std::function<void(const Frame&)>& take);
    void freeConsumed() noexcept;

    Descriptor m_connection;
    Descriptor m_stream;
    off_t m_consumed = 0;
    off_t m_freed = 0;
    bool m_isInBand = false;
    std::vector<std::byte> m_bytes; ///< of frames that the connection carries
};

} // namespace Itc

#endif

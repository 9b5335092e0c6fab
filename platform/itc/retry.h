#ifndef VARNIX_PLATFORM_ITC_RETRY_H
#define VARNIX_PLATFORM_ITC_RETRY_H

/**
 * When to try again what could not be done. The end of a shortage is no event that a process could
 * wait for, so it is tried after a while that grows, and only as long as something is owed.
 */

#include <array>
#include <chrono>
#include <exception>

namespace Itc {

class Retry
{
public:
    using Clock = std::chrono::steady_clock;

    /** Whether something is left to be done. */
    bool isOwed() const noexcept { return m_owed; }
    bool isDue() const noexcept { return m_owed && Clock::now() >= m_next; }
    /** Milliseconds until it is due, rounded up; -1 where nothing is owed. */
    int remaining() const noexcept;

    /**
     * Reports a failure unless it is the one that was reported last. What may pass is owed from now
     * on; anything else is not tried again by itself.
     */
    void failed(const std::exception& error) noexcept;
    /** Owes something that is no failure. */
    void postpone() noexcept;
    /** Nothing is owed any more. */
    void done() noexcept;

private:
    bool m_owed = false;
    Clock::time_point m_next;
    std::chrono::milliseconds m_delay{0};
    std::array<char, 160> m_reported{}; ///< the beginning of the last report
};

} // namespace Itc

#endif

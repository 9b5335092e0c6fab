#ifndef VARNIX_INSPECTION_SETTLED_H
#define VARNIX_INSPECTION_SETTLED_H

#include "inspection/memory.h"
#include "inspection/notInspected.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace Varnix::Inspection {

/** How long to try again what changes while it is read. */
class Patience
{
public:
    /** Throws NotInspected when a second has passed. */
    void wait() const
    {
        if (Clock::now() > m_deadline)
            throw NotInspected(NotInspected::Reason::UNSETTLED,
                               "what the process holds changed each time that it was read");
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point m_deadline = Clock::now() + std::chrono::seconds(1);
};

/**
 * What `read` returns, an optional, or nothing unless the counter at `changes` was even before and
 * the same after it.
 */
template <typename Read>
auto readSettled(const Memory& memory, Address changes, const Read& read) -> decltype(read())
{
    const auto before = memory.object<std::uint64_t>(changes);
    if (!before || *before % 2 != 0)
        return {};
    std::atomic_thread_fence(std::memory_order_acquire);
    auto result = read();
    std::atomic_thread_fence(std::memory_order_acquire);
    if (memory.object<std::uint64_t>(changes) != before)
        return {};
    return result;
}

} // namespace Varnix::Inspection

#endif

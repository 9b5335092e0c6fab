#ifndef VARNIX_INSPECTION_SETTLED_H
#define VARNIX_INSPECTION_SETTLED_H

#include "inspection/memory.h"
#include "inspection/notInspected.h"

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
 * the same after it. Each read takes and releases a lock of the kernel's, so they stay in order.
 */
template <typename Read>
auto readSettled(const Memory& memory, Address changes, const Read& read) -> decltype(read())
{
    const auto before = memory.object<std::uint64_t>(changes);
    if (!before || *before % 2 != 0)
        return {};
    auto result = read();
    if (memory.object<std::uint64_t>(changes) != before)
        return {};
    return result;
}

} // namespace Varnix::Inspection

#endif

#ifndef VARNIX_RECORDING_WAITING_H
#define VARNIX_RECORDING_WAITING_H

#include <chrono>
#include <thread>

namespace Varnix::Recording {

/** How long LTTng may take for one step on a loaded machine. */
inline constexpr std::chrono::seconds longest{120};

/** Waits for what LTTng reports to nobody; returns whether it came to be. */
template <typename Condition>
bool waitFor(const Condition& condition, std::chrono::seconds limit = longest)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace Varnix::Recording

#endif

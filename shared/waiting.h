#ifndef VARNIX_SHARED_WAITING_H
#define VARNIX_SHARED_WAITING_H

#include <chrono>
#include <thread>

namespace Waiting {

/** Waits for what is reported to nobody, until `condition` holds; returns whether it ever did. */
template <typename Condition>
bool waitFor(const Condition& condition, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace Waiting

#endif

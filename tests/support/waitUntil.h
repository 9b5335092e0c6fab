#ifndef VARNIX_TESTS_WAITUNTIL_H
#define VARNIX_TESTS_WAITUNTIL_H

#include <chrono>
#include <cstdlib>
#include <thread>

namespace Varnix::Test {

/** How many times longer everything may take: VARNIX_TEST_SLOWNESS, for runs under valgrind. */
inline unsigned slowness()
{
    const char* const times = std::getenv("VARNIX_TEST_SLOWNESS");
    return times != nullptr ? static_cast<unsigned>(std::strtoul(times, nullptr, 10)) : 1;
}

/** How long a test waits for what must happen: long enough for a loaded machine. */
inline const std::chrono::seconds patience{30 * slowness()};

/** Waits until `condition` holds; returns whether it ever did. */
template <typename Condition>
bool waitUntil(const Condition& condition, std::chrono::milliseconds limit = patience)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace Varnix::Test

#endif

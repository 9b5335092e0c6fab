#ifndef VARNIX_TESTS_WAITUNTIL_H
#define VARNIX_TESTS_WAITUNTIL_H

#include "shared/waiting.h"

#include <chrono>
#include <cstdlib>

namespace Varnix::Test {

/** How many times longer everything may take: VARNIX_TEST_SLOWNESS, for runs under valgrind. */
inline unsigned slowness()
{
    const char* const times = std::getenv("VARNIX_TEST_SLOWNESS");
    return times != nullptr ? static_cast<unsigned>(std::strtoul(times, nullptr, 10)) : 1;
}

/** How long a test waits for what must happen: long enough for a loaded machine. */
inline const std::chrono::seconds patience{120 * slowness()};

/** Waits until `condition` holds; returns whether it ever did. */
template <typename Condition>
bool waitUntil(const Condition& condition, std::chrono::milliseconds limit = patience)
{
    return Waiting::waitFor(condition, limit);
}

} // namespace Varnix::Test

#endif

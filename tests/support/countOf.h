#ifndef VARNIX_TESTS_COUNTOF_H
#define VARNIX_TESTS_COUNTOF_H

#include <cstdlib>

namespace Varnix::Test {

/** How often something is done: a share in the usual run, else as often as `variable` says. */
inline int countOf(const char* variable, int share)
{
    const char* const text = std::getenv(variable);
    return text == nullptr ? share : std::atoi(text);
}

/**
 * Of rounds that only differ in their values, the how many-th each is run: 1 in the usual run, more
 * where VARNIX_TEST_SHARE says so.
 */
inline unsigned everyNth()
{
    return static_cast<unsigned>(countOf("VARNIX_TEST_SHARE", 1));
}

} // namespace Varnix::Test

#endif

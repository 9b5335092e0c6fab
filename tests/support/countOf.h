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

} // namespace Varnix::Test

#endif

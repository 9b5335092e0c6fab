#ifndef VARNIX_TESTS_CALLEFFECT_H
#define VARNIX_TESTS_CALLEFFECT_H

#include <cstddef>

namespace Varnix::Test {

/** What becomes of a call of the C library: an error, or a transfer of fewer bytes. */
struct CallEffect
{
    static CallEffect failing(int number) { return {.error = number}; }
    static CallEffect atMost(std::size_t bytes) { return {.limit = bytes}; }
    static CallEffect nothing() { return atMost(0); }
    static CallEffect ordinary() { return {}; }

    int error = 0;
    std::size_t limit = ~std::size_t{0};
};

} // namespace Varnix::Test

#endif

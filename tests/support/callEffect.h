#ifndef VARNIX_TESTS_CALLEFFECT_H
#define VARNIX_TESTS_CALLEFFECT_H

#include <cstddef>

namespace Varnix::Test {

/** What becomes of a call under test: of the C library's functions and of operator new. */
struct CallEffect
{
    static CallEffect failing(int number) { return {.error = number}; }
    /** A transfer of fewer bytes. */
    static CallEffect atMost(std::size_t bytes) { return {.limit = bytes}; }
    static CallEffect nothing() { return atMost(0); }
    /** A signal comes first. */
    static CallEffect raising(int number) { return {.signal = number}; }
    /** An allocation that waits until the effect ends. */
    static CallEffect waiting() { return {.waits = true}; }
    /** An allocation that succeeds and changes errno. */
    static CallEffect leaving(int number) { return {.errnoAfter = number}; }
    static CallEffect ordinary() { return {}; }

    int error = 0;
    std::size_t limit = ~std::size_t{0};
    int signal = 0;
    bool waits = false;
    int errnoAfter = 0;
};

} // namespace Varnix::Test

#endif

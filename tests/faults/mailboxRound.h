#ifndef VARNIX_TESTS_FAULTS_MAILBOXROUND_H
#define VARNIX_TESTS_FAULTS_MAILBOXROUND_H

#include "tests/support/waitUntil.h"

#include <cstddef>
#include <cstdint>

namespace Varnix::Test {

/** How long a round waits for an answer that a fault may have cost, and for one that must come. */
inline const std::uint32_t impatient = 20 * slowness();
inline const std::uint32_t patient = 20'000 * slowness();

/** Answers a ping with a pong, and makes mailboxes that end. */
[[noreturn]] void serve();

/** Everything that a client of the library does, from its mailbox's creation to its end. */
struct Round
{
    std::uint32_t timeout;
    std::size_t done = 0; ///< steps that went well
    bool busy = false;    ///< the wait for nothing took the processor

    static constexpr std::size_t steps = 7;

    void run();

private:
    void talkTo(std::uint32_t server);
    void waitForNothing();
};

/** A round in a thread of its own: its mailbox ends with it. */
Round round(std::uint32_t timeout);

} // namespace Varnix::Test

#endif

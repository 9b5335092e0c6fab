#include "processBarrier.h"

#include <atomic>
#include <chrono>
#include <thread>

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Varnix::Backend::ProcessBarrier {

namespace {

long call(int command) noexcept
{
    return ::syscall(SYS_membarrier, command, 0U, 0);
}

enum class Offer
{
    UNKNOWN,
    NO,
    YES
};

// No statics that are made at their first use: a child that is forked meanwhile would wait for
// them.
constinit std::atomic<Offer> known{Offer::UNKNOWN};
constinit std::atomic<bool> prepared{false};

Offer ask() noexcept
{
#ifdef __SANITIZE_THREAD__ // it knows nothing of such barriers
    return Offer::NO;
#else
    const long commands = call(MEMBARRIER_CMD_QUERY);
    const bool offered = commands > 0 && (commands & MEMBARRIER_CMD_PRIVATE_EXPEDITED) != 0;
    return offered ? Offer::YES : Offer::NO;
#endif
}

bool enter() noexcept
{
    return call(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) == 0;
}

} // namespace

bool isOffered() noexcept
{
    Offer offer = known.load(std::memory_order_relaxed);
    if (offer == Offer::UNKNOWN) {
        // The first answer holds: a filter of system calls may change the kernel's.
        const Offer asked = ask();
        offer = known.compare_exchange_strong(offer, asked) ? asked : offer;
    }
    return offer == Offer::YES;
}

void prepare() noexcept
{
    if (isOffered() && !prepared.exchange(true))
        enter();
}

void pass() noexcept
{
    if (!isOffered() || call(MEMBARRIER_CMD_PRIVATE_EXPEDITED) == 0)
        return;
    if (enter() && call(MEMBARRIER_CMD_PRIVATE_EXPEDITED) == 0)
        return;
    // The process has forbidden itself the call. No store takes that long to be seen.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

} // namespace Varnix::Backend::ProcessBarrier

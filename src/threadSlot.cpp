#include "threadSlot.h"

#include "processBarrier.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#include <pthread.h>
#include <unistd.h>

namespace Varnix::Backend::ThreadSlot {

constinit thread_local unsigned ofThisThread = none;

namespace {

constexpr pid_t nobody = 0;

/** The threads that have, or had, the slots alone. A thread's end is not noticed until then. */
constinit std::array<std::atomic<pid_t>, count> owners{};
constinit std::atomic<unsigned> sharing{0};

bool isGone(pid_t thread) noexcept
{
    return ::tgkill(::getpid(), thread, 0) != 0 && errno == ESRCH;
}

/** The one thread of a child has another id than before. */
void keepInChild()
{
    for (std::atomic<pid_t>& owner : owners)
        owner = nobody;
    if (ofThisThread < count)
        owners[ofThisThread] = ::gettid();
}

[[maybe_unused]] const int handler = pthread_atfork(nullptr, nullptr, keepInChild);

} // namespace

unsigned claim() noexcept
{
    const pid_t self = ::gettid();
    for (unsigned slot = 0; ProcessBarrier::isOffered() && slot < count; ++slot) {
        pid_t owner = owners[slot];
        // One of the same id is gone too, or this thread's signal handler was here meanwhile.
        const bool isFree = owner == nobody || owner == self || isGone(owner);
        if (isFree && owners[slot].compare_exchange_strong(owner, self))
            return slot;
    }
    return count + sharing.fetch_add(1, std::memory_order_relaxed) % count;
}

} // namespace Varnix::Backend::ThreadSlot

#include "forks.h"

#include <memory>

#include <pthread.h>

namespace Varnix::Backend::Forks {

constinit Underway underway;

namespace {

constinit std::atomic<std::uint32_t> currentGeneration{1};

/** What the thread waits for, innermost first: a handler that interrupts it may wait, too. */
struct Wait
{
    std::atomic<std::uint32_t>* flag;
    const Wait* outer;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local const Wait* innermost = nullptr;

void finishInChild()
{
    ++currentGeneration;
    for (const Wait* wait = innermost; wait != nullptr; wait = wait->outer)
        wait->flag->store(0);
    if (const auto repeat = underway.repeat.exchange(nullptr))
        repeat();
    std::construct_at(&underway.mutex); // whoever held it is not in this process
}

[[maybe_unused]] const int handler = pthread_atfork(nullptr, nullptr, finishInChild);

} // namespace

std::uint32_t generation() noexcept
{
    return currentGeneration.load(std::memory_order_relaxed);
}

void waitWhileRaised(std::atomic<std::uint32_t>& flag) noexcept
{
    const Wait wait{&flag, innermost};
    innermost = &wait;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    flag.wait(generation()); // asked after the wait is known: a child's is another
    std::atomic_signal_fence(std::memory_order_seq_cst);
    innermost = wait.outer;
}

} // namespace Varnix::Backend::Forks

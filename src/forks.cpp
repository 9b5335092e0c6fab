#include "forks.h"

#include <memory>

#include <pthread.h>

namespace Varnix::Backend::Forks {

constinit Underway underway;

namespace {

constinit std::atomic<std::uint32_t> currentGeneration{1};

void finishInChild()
{
    ++currentGeneration;
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

} // namespace Varnix::Backend::Forks

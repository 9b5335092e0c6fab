#ifndef VARNIX_FORKS_H
#define VARNIX_FORKS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <new>
#include <type_traits>

/**
 * What a forked child needs: it has the memory of all threads, but only one of the threads.
 *
 * Nothing here makes a fork wait. A fork may come between any two steps of another thread, and the
 * child sees the memory as it is then: with all that the thread wrote before, without what follows.
 */
namespace Varnix::Backend::Forks {

/** Differs between a process and the child that it forks; never 0. */
std::uint32_t generation() noexcept;

/**
 * Waits while the flag has the generation of this process, that is until another thread changes it.
 * In a child that a signal handler forks meanwhile there is no such thread: the flag is 0 there.
 */
void waitWhileRaised(std::atomic<std::uint32_t>& flag) noexcept;

/** Where a change is written down while it is made. */
struct Underway
{
    static constexpr std::size_t room = 64;

    std::mutex mutex; ///< lets one change in at a time
    alignas(std::max_align_t) std::array<std::byte, room> change{};
    std::atomic<void (*)()> repeat{nullptr}; ///< null while there is none
};
extern Underway underway;

/**
 * Makes a change of memory that no child finds half made: one that is forked meanwhile makes it
 * again from its start.
 *
 * A change must not read what it writes, nor allocate, nor throw. It captures by value, and what
 * its pointers lead to must not be on a stack: in the child that may be another thread's.
 */
template <typename Change>
void makeWhole(const Change& change)
{
    static_assert(sizeof(Change) <= Underway::room && std::is_trivially_copyable_v<Change>);
    const std::lock_guard lock(underway.mutex);
    const Change* const kept = new (underway.change.data()) Change(change);
    // Exchanged, not stored: the change stays between the two.
    underway.repeat.exchange([] {
        std::invoke(*std::launder(reinterpret_cast<const Change*>(underway.change.data())));
    });
    std::invoke(*kept);
    underway.repeat.exchange(nullptr);
}

} // namespace Varnix::Backend::Forks

#endif

#ifndef VARNIX_TESTS_ALLOCATIONFAILURE_H
#define VARNIX_TESTS_ALLOCATIONFAILURE_H

#include "tests/support/callEffect.h"

#include <atomic>
#include <cstddef>

namespace Varnix::Test {

/** The forms of operator new that a test can make fail. */
enum class Allocation
{
    THROWING,
    NON_THROWING, ///< those that answer null
    ANY
};

/** Whose allocations count. */
enum class AllocationScope
{
    THREAD,
    PROCESS
};

/**
 * While it lives, counts the allocations of a form, by the calling thread or by all, and makes them
 * fail from the one with index `first` on, `count` of them. A program that uses it has its operator
 * new replaced; malloc is left alone.
 *
 *     const AllocationFailure failure(Allocation::NON_THROWING, 2);  // the third and all after it
 */
class AllocationFailure
{
public:
    static constexpr std::size_t all = ~std::size_t{0};

    explicit AllocationFailure(Allocation form, std::size_t first = 0, std::size_t count = all,
                               AllocationScope scope = AllocationScope::THREAD);
    ~AllocationFailure();
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;

    /** How many allocations of the form were asked for, those that failed included. */
    std::size_t asked() const noexcept { return m_asked; }

    /** How many bytes they asked for. */
    std::size_t bytes() const noexcept { return m_bytes; }

    /** Whether any allocation has failed. */
    bool struck() const noexcept { return m_asked > m_first && m_count != 0; }

    /** Whether the allocation of `size` bytes that the thread is about to make is to fail. */
    static bool strikes(Allocation form, std::size_t size) noexcept;

private:
    bool counts(Allocation form, std::size_t size) noexcept;

    Allocation m_form;
    std::size_t m_first;
    std::size_t m_count;
    AllocationScope m_scope;
    std::atomic<std::size_t> m_asked{0};
    std::atomic<std::size_t> m_bytes{0};
};

/**
 * While it lives, what becomes of every allocation of `size` bytes and more by a throwing form, in
 * any thread. A failure is std::bad_alloc for ENOMEM and std::system_error for another error.
 */
class LargeAllocation
{
public:
    LargeAllocation(std::size_t size, CallEffect effect);
    ~LargeAllocation();
    LargeAllocation(const LargeAllocation&) = delete;
    LargeAllocation& operator=(const LargeAllocation&) = delete;

    /** Whether there was one. */
    bool isAsked() const noexcept;
};

/** The blocks that operator new has given and operator delete not taken back. */
std::size_t liveBlocks(AllocationScope scope) noexcept;

/** Counts without failing anything. */
class AllocationCount : public AllocationFailure
{
public:
    explicit AllocationCount(Allocation form) : AllocationFailure(form, 0, 0) {}
};

} // namespace Varnix::Test

#endif

#ifndef VARNIX_TESTS_THROWINGALLOCATION_H
#define VARNIX_TESTS_THROWINGALLOCATION_H

#include <cstddef>

namespace Varnix::Test {

enum class AllocationFailure
{
    BAD_ALLOC,
    LENGTH_ERROR,
};

/** While it lives, operator new throws for blocks of `size` bytes and more, in every thread. */
class ThrowingAllocation
{
public:
    ThrowingAllocation(std::size_t size, AllocationFailure failure);
    ~ThrowingAllocation();
    ThrowingAllocation(const ThrowingAllocation&) = delete;
    ThrowingAllocation& operator=(const ThrowingAllocation&) = delete;
};

/** While it lives, a thread that asks operator new for `size` bytes or more waits until it ends. */
class HeldAllocation
{
public:
    explicit HeldAllocation(std::size_t size);
    ~HeldAllocation();
    HeldAllocation(const HeldAllocation&) = delete;
    HeldAllocation& operator=(const HeldAllocation&) = delete;

    /** Whether a thread waits. */
    bool isAsked() const noexcept;
};

} // namespace Varnix::Test

#endif

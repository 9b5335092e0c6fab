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

} // namespace Varnix::Test

#endif

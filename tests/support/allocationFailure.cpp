#include "tests/support/allocationFailure.h"

#include <cstdlib>
#include <new>

namespace Varnix::Test {

namespace {

constinit thread_local AllocationFailure* active = nullptr;

} // namespace

AllocationFailure::AllocationFailure(Allocation form, std::size_t first, std::size_t count)
    : m_form(form), m_first(first), m_count(count)
{
    active = this;
}

AllocationFailure::~AllocationFailure()
{
    active = nullptr;
}

bool AllocationFailure::strikes(Allocation form) noexcept
{
    if (active == nullptr || active->m_form != form)
        return false;
    const std::size_t index = active->m_asked++;
    return index >= active->m_first && index - active->m_first < active->m_count;
}

} // namespace Varnix::Test

using Varnix::Test::Allocation;
using Varnix::Test::AllocationFailure;

// The array form without exceptions is the only one that the library checks for null; the plain
// form is what all others end in.

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    if (AllocationFailure::strikes(Allocation::nonThrowing))
        return nullptr;
    return std::malloc(size != 0 ? size : 1);
}

void* operator new(std::size_t size)
{
    if (AllocationFailure::strikes(Allocation::throwing))
        throw std::bad_alloc();
    if (void* const memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}

void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

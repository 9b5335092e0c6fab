#include "throwingAllocation.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace Varnix::Test {

namespace {

std::atomic<std::size_t> refusedSize{SIZE_MAX};
std::atomic<AllocationFailure> refusal{AllocationFailure::BAD_ALLOC};

std::atomic<std::size_t> heldSize{SIZE_MAX};
std::atomic<bool> held{false};

} // namespace

HeldAllocation::HeldAllocation(std::size_t size)
{
    held = false;
    heldSize = size;
}

HeldAllocation::~HeldAllocation()
{
    heldSize = SIZE_MAX;
    heldSize.notify_all();
}

bool HeldAllocation::isAsked() const noexcept
{
    return held;
}

ThrowingAllocation::ThrowingAllocation(std::size_t size, AllocationFailure failure)
{
    refusal = failure;
    refusedSize = size;
}

ThrowingAllocation::~ThrowingAllocation()
{
    refusedSize = SIZE_MAX;
}

static void* allocate(std::size_t size)
{
    const std::size_t holding = heldSize;
    if (size >= holding) {
        held = true;
        heldSize.wait(holding);
    }
    if (size >= refusedSize) {
        if (refusal == AllocationFailure::LENGTH_ERROR)
            throw std::length_error("too long for the test");
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

} // namespace Varnix::Test

// Every form, so that each block is freed as it was made.
void* operator new(std::size_t size)
{
    return Varnix::Test::allocate(size);
}

void* operator new[](std::size_t size)
{
    return Varnix::Test::allocate(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size == 0 ? 1 : size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size == 0 ? 1 : size);
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

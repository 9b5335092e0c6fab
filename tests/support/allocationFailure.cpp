#include "tests/support/allocationFailure.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <system_error>

namespace Varnix::Test {

namespace {

constinit thread_local AllocationFailure* ofThread = nullptr;
constinit std::atomic<AllocationFailure*> ofProcess{nullptr};
constinit std::atomic<std::size_t> blocksOfProcess{0};
constinit thread_local std::size_t blocksOfThread = 0;

constinit std::atomic<std::size_t> largeSize{SIZE_MAX};
constinit std::atomic<bool> isLargeAsked{false};
constinit CallEffect largeEffect{}; // written before largeSize, read after it

void* counted(void* memory) noexcept
{
    if (memory != nullptr) {
        ++blocksOfProcess;
        ++blocksOfThread;
    }
    return memory;
}

void* allocate(std::size_t size) noexcept
{
    return counted(std::malloc(std::max<std::size_t>(size, 1)));
}

void* allocate(std::size_t size, std::align_val_t alignment) noexcept
{
    const auto step = static_cast<std::size_t>(alignment);
    return counted(
        std::aligned_alloc(step, (std::max<std::size_t>(size, 1) + step - 1) / step * step));
}

void release(void* memory) noexcept
{
    if (memory != nullptr) {
        --blocksOfProcess;
        --blocksOfThread;
    }
    std::free(memory);
}

/** Asks the handler that a program may have set, as operator new does. */
template <typename... Alignment>
void* allocateOrNull(Allocation kind, std::size_t size, Alignment... alignment)
{
    for (;;) {
        if (!AllocationFailure::strikes(kind, size)) {
            if (void* const memory = allocate(size, alignment...))
                return memory;
        }
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr)
            return nullptr;
        handler();
    }
}

/** Makes what becomes of an allocation of this size happen. */
void strikeLarge(std::size_t size)
{
    const std::size_t large = largeSize;
    if (size < large)
        return;
    const CallEffect effect = largeEffect;
    isLargeAsked = true;
    if (effect.waits)
        largeSize.wait(large);
    if (effect.error == ENOMEM)
        throw std::bad_alloc();
    if (effect.error != 0)
        throw std::system_error(effect.error, std::generic_category());
    if (effect.errnoAfter != 0)
        errno = effect.errnoAfter;
}

template <typename... Alignment>
void* allocateOrThrow(std::size_t size, Alignment... alignment)
{
    strikeLarge(size);
    if (void* const memory = allocateOrNull(Allocation::THROWING, size, alignment...))
        return memory;
    throw std::bad_alloc();
}

} // namespace

AllocationFailure::AllocationFailure(Allocation form, std::size_t first, std::size_t count,
                                     AllocationScope scope)
    : m_form(form), m_first(first), m_count(count), m_scope(scope)
{
    if (m_scope == AllocationScope::THREAD)
        ofThread = this;
    else
        ofProcess = this;
}

AllocationFailure::~AllocationFailure()
{
    if (m_scope == AllocationScope::THREAD)
        ofThread = nullptr;
    else
        ofProcess = nullptr;
}

bool AllocationFailure::counts(Allocation form, std::size_t size) noexcept
{
    if (m_form != Allocation::ANY && m_form != form)
        return false;
    m_bytes += size;
    const std::size_t index = m_asked++;
    return index >= m_first && index - m_first < m_count;
}

bool AllocationFailure::strikes(Allocation form, std::size_t size) noexcept
{
    AllocationFailure* const active = ofThread != nullptr ? ofThread : ofProcess.load();
    return active != nullptr && active->counts(form, size);
}

LargeAllocation::LargeAllocation(std::size_t size, CallEffect effect)
{
    isLargeAsked = false;
    largeEffect = effect;
    largeSize = size;
}

LargeAllocation::~LargeAllocation()
{
    largeSize = SIZE_MAX;
    largeSize.notify_all();
}

bool LargeAllocation::isAsked() const noexcept
{
    return isLargeAsked;
}

std::size_t liveBlocks(AllocationScope scope) noexcept
{
    return scope == AllocationScope::THREAD ? blocksOfThread : blocksOfProcess.load();
}

} // namespace Varnix::Test

using Varnix::Test::Allocation;

// Every form, as a sanitizer's own stand in for those that are left out and know nothing of these.

void* operator new(std::size_t size)
{
    return Varnix::Test::allocateOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return Varnix::Test::allocateOrThrow(size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return Varnix::Test::allocateOrThrow(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return Varnix::Test::allocateOrThrow(size, alignment);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Varnix::Test::allocateOrNull(Allocation::NON_THROWING, size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return Varnix::Test::allocateOrNull(Allocation::NON_THROWING, size);
}

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return Varnix::Test::allocateOrNull(Allocation::NON_THROWING, size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return Varnix::Test::allocateOrNull(Allocation::NON_THROWING, size, alignment);
}

void operator delete(void* memory) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete[](void* memory) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete[](void* memory, std::align_val_t) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept
{
    Varnix::Test::release(memory);
}

void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept
{
    Varnix::Test::release(memory);
}

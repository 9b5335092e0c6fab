#ifndef VARNIX_HUGEPAGES_H
#define VARNIX_HUGEPAGES_H

#include <cstddef>
#include <cstdint>

#include <sys/mman.h>

namespace Varnix::Backend {

/**
 * Lets the kernel back memory that is about to be filled with huge pages, where it has them: one
 * fault instead of hundreds. Only those that lie inside wholly, so that no more becomes resident.
 */
inline void preferHugePages(void* memory, std::size_t size) noexcept
{
    constexpr std::uintptr_t hugePage = std::uintptr_t{2} << 20U;
    const auto start = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (start + hugePage - 1) / hugePage * hugePage;
    const std::uintptr_t end = (start + size) / hugePage * hugePage;
    if (first < end)
        ::madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

} // namespace Varnix::Backend

#endif

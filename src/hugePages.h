#ifndef VARNIX_HUGEPAGES_H
#define VARNIX_HUGEPAGES_H

#include <cstddef>
#include <memory>

#include <sys/mman.h>

namespace Varnix::Backend {

/**
 * Lets the kernel back memory that is about to be filled with huge pages, where it has them: one
 * fault instead of hundreds. Only those that lie inside wholly, so that no more becomes resident.
 */
inline void preferHugePages(void* memory, std::size_t size) noexcept
{
    constexpr std::size_t hugePage = std::size_t{2} << 20U;
    if (std::align(hugePage, hugePage, memory, size) != nullptr)
        ::madvise(memory, size / hugePage * hugePage, MADV_HUGEPAGE);
}

} // namespace Varnix::Backend

#endif

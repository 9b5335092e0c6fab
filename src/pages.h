#ifndef VARNIX_PAGES_H
#define VARNIX_PAGES_H

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

/**
 * Makes memory that is about to be filled whole resident at once: a fault for each of its pages
 * costs more. Where the kernel cannot, the pages come one by one as they are filled.
 */
inline void populatePages(void* memory, std::size_t size) noexcept
{
    constexpr std::size_t page = 4096;
    constexpr std::size_t worthACall = 16 * page;
    preferHugePages(memory, size);
    if (size >= worthACall && std::align(page, page, memory, size) != nullptr)
        ::madvise(memory, size / page * page, MADV_POPULATE_WRITE);
}

} // namespace Varnix::Backend

#endif

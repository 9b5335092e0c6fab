#ifndef VARNIX_INSPECTION_BOUNDEDMEMORY_H
#define VARNIX_INSPECTION_BOUNDEDMEMORY_H

#include "inspection/memory.h"
#include "inspection/notInspected.h"

namespace Varnix::Inspection {

/**
 * Another memory that gives out so many bytes at most: what leads in circles, or to the same bytes
 * again and again, ends a look before it takes more memory and time than any registry would.
 */
class BoundedMemory final : public Memory
{
public:
    static constexpr std::uint64_t most = 1U << 28U;

    explicit BoundedMemory(const Memory& memory) noexcept : m_memory(memory) {}

    bool read(std::span<const Range> ranges, std::span<char> bytes) const override
    {
        if (bytes.size() > m_left)
            throw NotInspected(NotInspected::Reason::UNSETTLED,
                               "what the process holds is no registry: it has no end");
        m_left -= bytes.size();
        return m_memory.read(ranges, bytes);
    }

private:
    const Memory& m_memory;
    mutable std::uint64_t m_left = most;
};

} // namespace Varnix::Inspection

#endif

#ifndef VARNIX_INSPECTION_MEMORY_H
#define VARNIX_INSPECTION_MEMORY_H

#include "inspection/layout.h"

#include <optional>
#include <span>
#include <string>
#include <type_traits>

#include <sys/types.h>

namespace Varnix::Inspection {

/** Some bytes of the inspected process. */
struct Range
{
    Address start;
    std::uint64_t size;
};

/** The memory of another process. It changes while it is read, and may hold anything. */
class Memory
{
public:
    virtual ~Memory() = default;

    /**
     * Copies the bytes of all ranges, one after the other, to `bytes`, which has their total size.
     * Returns whether all of them are there; throws NotInspected where none can be read.
     */
    virtual bool read(std::span<const Range> ranges, std::span<char> bytes) const = 0;

    /** The object at `address`, if its bytes are there. */
    template <typename T>
    std::optional<T> object(Address address) const
    {
        static_assert(std::is_trivially_copyable_v<T>);
        T value;
        const Range range{address, sizeof value};
        if (!read({&range, 1}, {reinterpret_cast<char*>(&value), sizeof value}))
            return std::nullopt;
        return value;
    }

    /** The bytes of a range, if they are there. Takes memory only as far as they are. */
    std::optional<std::string> bytes(Range range) const;
};

/** The memory of a running process, read without stopping it. */
class ProcessMemory final : public Memory
{
public:
    explicit ProcessMemory(pid_t process) noexcept : m_process(process) {}

    bool read(std::span<const Range> ranges, std::span<char> bytes) const override;

private:
    pid_t m_process;
};

} // namespace Varnix::Inspection

#endif

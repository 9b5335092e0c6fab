#include "inspection/memory.h"

#include "inspection/notInspected.h"
#include "inspection/permission.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <sys/uio.h>

namespace Varnix::Inspection {

namespace {

constexpr std::size_t rangesAtOnce = 512;        // two places of the 1,024 that the kernel takes
constexpr std::uint64_t bytesAtOnce = 1U << 20U; // so that a wrong size takes no memory

/** The user that the process runs as; nothing where it has ended. */
std::optional<uid_t> ownerOf(pid_t process)
{
    struct stat facts
    {
    };
    if (::stat(("/proc/" + std::to_string(process)).c_str(), &facts) != 0)
        return std::nullopt;
    return facts.st_uid;
}

[[noreturn]] void failReading(pid_t process, int error)
{
    using Reason = NotInspected::Reason;
    const std::string who = "process " + std::to_string(process);
    if (error == EPERM)
        throw NotInspected(
            Reason::NOT_PERMITTED,
            who + " may not be looked at: " + permissionHint(permissionFor(ownerOf(process))));
    if (error == ENOSYS)
        throw NotInspected(Reason::NOT_PERMITTED,
                           who + " may not be looked at: this kernel reads no other process");
    throw NotInspected(Reason::GONE, who + " has ended");
}

/**
 * What one call of the kernel's copies.
 *
 * A place in the other process costs the kernel far more than some bytes do, so a range that begins
 * shortly after the one before goes with it, and the bytes between them are dropped. They are there
 * whenever both ranges are: each is on a page of one of them.
 */
class Copies
{
public:
    bool isFull() const noexcept { return m_ranges == rangesAtOnce; }

    /** Adds a range that has bytes. */
    void add(const Range& range, char* to) noexcept
    {
        ++m_ranges;
        if (m_places != 0 && range.start >= m_end && range.start - m_end <= mostBetween) {
            if (range.start != m_end)
                addDestination(m_between.data(), range.start - m_end);
            m_remote[m_places - 1].iov_len += range.start - m_end + range.size;
        } else {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): an address in another process
            m_remote[m_places++] = {reinterpret_cast<void*>(range.start), range.size};
        }
        m_end = range.start + range.size;
        addDestination(to, range.size);
    }

    /** Copies what was added since the last call; whether all of it is there. */
    bool take(pid_t process)
    {
        const ssize_t got = ::process_vm_readv(process, m_local.data(), m_destinations,
                                               m_remote.data(), m_places, 0);
        if (got < 0 && errno != EFAULT)
            failReading(process, errno);
        const bool isWhole = got >= 0 && static_cast<std::size_t>(got) == m_size;
        m_ranges = m_places = m_destinations = m_size = 0;
        return isWhole;
    }

private:
    static constexpr std::uint64_t mostBetween = 256; // far less than a page

    void addDestination(char* to, std::size_t size) noexcept
    {
        m_size += size;
        iovec* const last = m_destinations != 0 ? &m_local[m_destinations - 1] : nullptr;
        if (last != nullptr && static_cast<char*>(last->iov_base) + last->iov_len == to)
            last->iov_len += size;
        else
            m_local[m_destinations++] = {to, size};
    }

    std::size_t m_ranges = 0;
    std::size_t m_places = 0;
    std::size_t m_destinations = 0;
    std::size_t m_size = 0;
    Address m_end = 0; ///< of the last range
    std::array<iovec, rangesAtOnce> m_remote;
    std::array<iovec, 2 * rangesAtOnce> m_local; ///< a range's own bytes and those before it
    std::array<char, mostBetween> m_between;     ///< nobody reads them
};

} // namespace

std::optional<std::string> Memory::bytes(Range range) const
{
    std::string bytes;
    while (bytes.size() < range.size) {
        const std::size_t known = bytes.size();
        const Range part{range.start + known, std::min(range.size - known, bytesAtOnce)};
        bytes.resize(known + part.size);
        if (!read({&part, 1}, {bytes.data() + known, part.size}))
            return std::nullopt;
    }
    return bytes;
}

bool ProcessMemory::read(std::span<const Range> ranges, std::span<char> bytes) const
{
    Copies copies;
    for (const Range& range : ranges) {
        if (range.size == 0)
            continue;
        if (copies.isFull() && !copies.take(m_process))
            return false;
        copies.add(range, bytes.data());
        bytes = bytes.subspan(range.size);
    }
    return copies.take(m_process);
}

} // namespace Varnix::Inspection

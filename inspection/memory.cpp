#include "inspection/memory.h"

#include "inspection/notInspected.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>

#include <sys/uio.h>

namespace Varnix::Inspection {

namespace {

constexpr std::size_t rangesAtOnce = 512;        // the kernel takes 1,024
constexpr std::uint64_t bytesAtOnce = 1U << 20U; // so that a wrong size takes no memory

/** What would let this user look, as far as the host tells. */
std::string permissionHint()
{
    std::ifstream file("/proc/sys/kernel/yama/ptrace_scope");
    int scope = 0;
    if (file >> scope && scope != 0)
        return "only root may look here, as /proc/sys/kernel/yama/ptrace_scope is " +
               std::to_string(scope);
    return "look as the process's own user or as root";
}

[[noreturn]] void failReading(pid_t process, int error)
{
    using Reason = NotInspected::Reason;
    const std::string who = "process " + std::to_string(process);
    if (error == EPERM)
        throw NotInspected(Reason::NOT_PERMITTED,
                           who + " may not be looked at: " + permissionHint());
    if (error == ENOSYS)
        throw NotInspected(Reason::NOT_PERMITTED,
                           who + " may not be looked at: this kernel reads no other process");
    throw NotInspected(Reason::GONE, who + " has ended");
}

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
    std::array<iovec, rangesAtOnce> remote;
    while (!ranges.empty()) {
        const std::size_t count = std::min(ranges.size(), remote.size());
        std::size_t size = 0;
        for (std::size_t i = 0; i < count; ++i) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): an address in another process
            remote[i] = {reinterpret_cast<void*>(ranges[i].start), ranges[i].size};
            size += ranges[i].size;
        }
        const iovec local{bytes.data(), size};
        const ssize_t got = ::process_vm_readv(m_process, &local, 1, remote.data(), count, 0);
        if (got < 0 && errno != EFAULT)
            failReading(m_process, errno);
        if (got < 0 || static_cast<std::size_t>(got) != size)
            return false;
        bytes = bytes.subspan(size);
        ranges = ranges.subspan(count);
    }
    return true;
}

} // namespace Varnix::Inspection

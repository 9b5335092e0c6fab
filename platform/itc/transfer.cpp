#include "transfer.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

namespace Itc {

ssize_t readAll(int fd, off_t offset, std::span<std::byte> buffer) noexcept
{
    std::size_t done = 0;
    while (done < buffer.size()) {
        const auto rest = buffer.subspan(done);
        const ssize_t size =
            ::pread(fd, rest.data(), rest.size(), offset + static_cast<off_t>(done));
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0)
            return -1;
        if (size == 0)
            break;
        done += static_cast<std::size_t>(size);
    }
    return static_cast<ssize_t>(done);
}

bool writeAll(int fd, off_t offset, std::span<iovec> parts) noexcept
{
    while (!parts.empty()) {
        if (parts.front().iov_len == 0) {
            parts = parts.subspan(1);
            continue;
        }
        const ssize_t written = ::pwritev(fd, parts.data(), static_cast<int>(parts.size()), offset);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        offset += written;
        for (auto left = static_cast<std::size_t>(written); left > 0;) {
            iovec& part = parts.front();
            const std::size_t done = std::min(left, part.iov_len);
            part.iov_base = static_cast<char*>(part.iov_base) + done;
            part.iov_len -= done;
            left -= done;
            if (part.iov_len == 0)
                parts = parts.subspan(1);
        }
    }
    return true;
}

} // namespace Itc

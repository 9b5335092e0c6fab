#ifndef VARNIX_PLATFORM_ITC_TRANSFER_H
#define VARNIX_PLATFORM_ITC_TRANSFER_H

/** Reads and writes that go on until all is done, however little the kernel does at once. */

#include <cstddef>
#include <span>

#include <sys/types.h>
#include <sys/uio.h>

namespace Itc {

/** Reads until the buffer is full or the file ends; the number of bytes, or -1 with errno. */
ssize_t readAll(int fd, off_t offset, std::span<std::byte> buffer) noexcept;

/** Writes everything; false, with errno, where it cannot. Leaves `parts` changed. */
bool writeAll(int fd, off_t offset, std::span<iovec> parts) noexcept;

} // namespace Itc

#endif

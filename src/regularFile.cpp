#include "regularFile.h"

#include "fileDescriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace Varnix::Backend {

namespace {

ssize_t readAgain(int fd, char* data, std::size_t size) noexcept
{
    ssize_t got = 0;
    do
        got = ::read(fd, data, size);
    while (got < 0 && errno == EINTR);
    return got;
}

} // namespace

ReadResult readRegularFile(const std::string& path, std::size_t maxSize, std::string& content)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        return ReadResult::NOT_OPENED;
    if (!S_ISREG(status.st_mode))
        return ReadResult::NOT_READABLE;
    // What has come to the path since is not waited for either.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen())
        return ReadResult::NOT_OPENED;
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return ReadResult::NOT_READABLE;

    std::array<char, 4096> buffer{};
    ssize_t got = 0;
    while ((got = readAgain(file.get(), buffer.data(), buffer.size())) > 0) {
        const auto size = static_cast<std::size_t>(got);
        if (size > maxSize)
            return ReadResult::TOO_LARGE;
        maxSize -= size;
        content.append(buffer.data(), size);
    }
    return got == 0 ? ReadResult::READ : ReadResult::NOT_READABLE;
}

} // namespace Varnix::Backend

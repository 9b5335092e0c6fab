#include "dbfile/descriptor.h"
#include "dbfile/fileIo.h"
#include "dbfile/shown.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

namespace Varnix::DbFile {

namespace {

[[noreturn]] void fail(const char* action, const std::string& path)
{
    const int error = errno; // before anything else can change it
    throw FileError(std::string("cannot ") + action + " " + shown(path) + ": " +
                    std::system_category().message(error));
}

void refuseEndless(int fd, const std::string& path)
{
    struct stat status = {};
    if (::fstat(fd, &status) != 0)
        fail("read", path);
    if (S_ISDIR(status.st_mode))
        throw FileError("cannot read " + shown(path) + ": it is a directory");
    if (!S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode) && !S_ISBLK(status.st_mode))
        throw FileError("cannot read " + shown(path) + ": it is neither a file nor a pipe");
}

} // namespace

std::string readWholeFile(const std::string& path)
{
    // Not to wait for a pipe's writer: a pipe that nobody writes to is an empty file.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen())
        fail("open", path);
    refuseEndless(file.get(), path);
    ::fcntl(file.get(), F_SETFL, 0); // where it fails, a read that must wait fails too

    std::string content;
    std::array<char, 65536> buffer{};
    while (true) {
        const ssize_t count = ::read(file.get(), buffer.data(), buffer.size());
        if (count == 0)
            return content;
        if (count > 0)
            content.append(buffer.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            fail("read", path);
    }
}

} // namespace Varnix::DbFile

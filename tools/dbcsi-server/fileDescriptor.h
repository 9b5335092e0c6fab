#ifndef VARNIX_DBCSI_SERVER_FILEDESCRIPTOR_H
#define VARNIX_DBCSI_SERVER_FILEDESCRIPTOR_H

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace Dbcsi {

/** An open file that closes itself. */
class FileDescriptor
{
public:
    /** Takes the result of a system call; throws its error, named by `what`, when it failed. */
    FileDescriptor(int fd, const char* what) : m_fd(fd)
    {
        if (fd < 0)
            throw std::system_error(errno, std::generic_category(), what);
    }
    ~FileDescriptor() { ::close(m_fd); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const noexcept { return m_fd; }

private:
    int m_fd;
};

} // namespace Dbcsi

#endif

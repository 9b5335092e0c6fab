#ifndef VARNIX_FILEDESCRIPTOR_H
#define VARNIX_FILEDESCRIPTOR_H

#include <unistd.h>

namespace Varnix::Backend {

/** Closes the descriptor that it was given, if that is one. */
class FileDescriptor
{
public:
    explicit FileDescriptor(int fd) noexcept : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (isOpen())
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool isOpen() const noexcept { return m_fd >= 0; }
    int get() const noexcept { return m_fd; }

private:
    int m_fd;
};

} // namespace Varnix::Backend

#endif

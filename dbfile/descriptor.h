#ifndef VARNIX_DBFILE_DESCRIPTOR_H
#define VARNIX_DBFILE_DESCRIPTOR_H

#include <utility>

#include <unistd.h>

namespace Varnix::DbFile {

/** An open file, closed with this object. */
class Descriptor
{
public:
    explicit Descriptor(int fd) noexcept : m_fd(fd) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }

    int get() const noexcept { return m_fd; }
    bool isOpen() const noexcept { return m_fd >= 0; }

    /** Whether closing went well; what was written may be refused only now. */
    bool close() noexcept
    {
        const int fd = std::exchange(m_fd, -1);
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int m_fd;
};

} // namespace Varnix::DbFile

#endif

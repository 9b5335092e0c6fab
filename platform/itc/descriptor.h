#ifndef VARNIX_PLATFORM_ITC_DESCRIPTOR_H
#define VARNIX_PLATFORM_ITC_DESCRIPTOR_H

/** An owned file descriptor. */

#include <utility>

#include <unistd.h>

namespace Itc {

class Descriptor
{
public:
    Descriptor() noexcept = default;
    explicit Descriptor(int fd) noexcept : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }

    int get() const noexcept { return m_fd; }
    /** Leaves the descriptor to the caller. */
    int release() noexcept { return std::exchange(m_fd, -1); }
    explicit operator bool() const noexcept { return m_fd >= 0; }

private:
    int m_fd = -1;
};

} // namespace Itc

#endif

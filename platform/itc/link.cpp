#include "link.h"

#include "report.h"
#include "transfer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>

namespace Itc {

namespace {

/** As much as the host lets a connection hold that carries frames itself. */
constexpr int inBandBuffer = 4 << 20;

iovec slice(const void* data, std::size_t size) noexcept
{
    return {const_cast<void*>(data), size};
}

std::array<iovec, 3> partsOf(const Frame& frame, const FrameHeader& header) noexcept
{
    return {slice(&header, sizeof header), slice(frame.name.data(), frame.name.size()),
            slice(frame.message.data(), frame.message.size())};
}

bool saysGone(int error) noexcept
{
    return error == EPIPE || error == ECONNRESET;
}

} // namespace

bool Link::connect(Directory& directory)
{
    if (!m_connection)
        m_connection = directory.connect(m_mailbox);
    return static_cast<bool>(m_connection);
}

void Link::keep(const Frame& frame)
{
    const FrameHeader header = headerOf(frame);
    try {
        std::vector<std::byte> bytes;
        bytes.reserve(frame.size());
        for (const iovec& part : partsOf(frame, header)) {
            const auto* const data = static_cast<const std::byte*>(part.iov_base);
            bytes.insert(bytes.end(), data, data + part.iov_len);
        }
        m_kept.push_back(std::move(bytes));
    } catch (const std::bad_alloc&) {
        throw NotKept();
    }
}

bool Link::send(const Frame& frame, Directory& directory)
{
    try {
        if (!connect(directory) || !flush(directory))
            return false;
        if (m_kept.empty() && !m_inBand && hasRoom(frame.size())) {
            const FrameHeader header = headerOf(frame);
            auto parts = partsOf(frame, header);
            write(parts, frame.size());
        } else {
            keep(frame);
        }
    } catch (...) {
        keep(frame);
        throw;
    }
    return flush(directory);
}

bool Link::flush(Directory& directory)
{
    if (!isBehind())
        return true;
    if (!connect(directory))
        return false;
    while (!m_inBand && !m_kept.empty()) {
        const std::vector<std::byte>& first = m_kept.front();
        if (!hasRoom(first.size())) {
            goInBand();
            break;
        }
        iovec part = slice(first.data(), first.size());
        write({&part, 1}, first.size());
        m_kept.pop_front();
    }
    return announce() && sendInBand();
}

pid_t Link::process() const noexcept
{
    ucred peer{};
    socklen_t size = sizeof peer;
    const bool known = ::getsockopt(m_connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return known ? peer.pid : 0;
}

std::uint64_t Link::waiting() noexcept
{
    std::uint64_t kept = 0;
    for (const std::vector<std::byte>& frame : m_kept)
        kept += frame.size();
    int inBand = 0; // an estimate: the kernel counts its own room too
    if (m_inBand && ::ioctl(m_connection.get(), SIOCOUTQ, &inBand) != 0)
        inBand = 0;
    return waitingInStream() + kept - m_sent + static_cast<std::uint64_t>(inBand);
}

/** The receiver clears what it has taken, and the first byte of a frame is never zero. */
std::uint64_t Link::waitingInStream() noexcept
{
    std::array<std::byte, 1 << 14> buffer;
    while (m_taken < m_written) {
        const std::size_t wanted =
            std::min(buffer.size(), static_cast<std::size_t>(m_written - m_taken));
        const ssize_t size = readAll(m_stream.get(), m_taken, std::span(buffer).first(wanted));
        if (size <= 0)
            break;
        const auto end = buffer.begin() + size;
        const auto first =
            std::find_if(buffer.begin(), end, [](std::byte byte) { return byte != std::byte{}; });
        m_taken += first - buffer.begin();
        if (first != end)
            break;
    }
    return static_cast<std::uint64_t>(m_written - m_taken);
}

/** A write beyond the limit would end the process by a signal. */
bool Link::hasRoom(std::size_t size) const noexcept
{
    rlimit limit{};
    return ::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
           static_cast<rlim_t>(m_written) + size <= limit.rlim_cur;
}

void Link::write(std::span<iovec> parts, std::size_t size)
{
    if (!m_stream) {
        m_stream = Descriptor(::memfd_create("itc", MFD_CLOEXEC));
        if (!m_stream)
            throwErrno("cannot make a stream");
    }
    const off_t end = m_written + static_cast<off_t>(size);
    if (!writeAll(m_stream.get(), m_written, parts) ||
        ::lseek(m_stream.get(), end, SEEK_SET) != end)
        throwErrno("cannot hold a message");
    m_written = end;
    m_unannounced = true;
}

void Link::goInBand()
{
    if (!m_stream) {
        m_stream = Descriptor(::memfd_create("itc", MFD_CLOEXEC));
        if (!m_stream)
            throwErrno("cannot make a stream");
    }
    m_kept.push_front({static_cast<std::byte>(inBandMark)});
    m_inBand = true;
    m_unannounced = true;
    // The first is for whoever may go beyond the host's limit.
    for (const int option : {SO_SNDBUFFORCE, SO_SNDBUF})
        if (::setsockopt(m_connection.get(), SOL_SOCKET, option, &inBandBuffer,
                         sizeof inBandBuffer) == 0)
            break;
}

bool Link::announce()
{
    if (!m_unannounced)
        return true;
    // A connection that is full of such bytes wakes its receiver without another.
    const bool told =
        m_greeted ? ::send(m_connection.get(), &wakeMark, 1, MSG_DONTWAIT | MSG_NOSIGNAL) == 1 ||
                        errno == EAGAIN
                  : greet();
    if (!told && !saysGone(errno))
        throwErrno("cannot wake a mailbox");
    m_unannounced = !told;
    return told;
}

/** Hands the stream to the mailbox; nothing is before it in the connection, so there is room. */
bool Link::greet()
{
    Greeting greeting;
    iovec part = slice(&greeting, sizeof greeting);
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = CMSG_LEN(sizeof(int));
    cmsghdr* const rights = CMSG_FIRSTHDR(&header);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int));
    const int stream = m_stream.get();
    std::memcpy(CMSG_DATA(rights), &stream, sizeof stream);

    m_greeted = ::sendmsg(m_connection.get(), &header, MSG_DONTWAIT | MSG_NOSIGNAL) ==
                static_cast<ssize_t>(sizeof greeting);
    return m_greeted;
}

bool Link::sendInBand()
{
    while (!m_kept.empty()) {
        const auto rest = std::span(m_kept.front()).subspan(m_sent);
        const ssize_t size =
            ::send(m_connection.get(), rest.data(), rest.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0 && errno == EAGAIN)
            return true; // until the mailbox has read some
        if (size < 0 && saysGone(errno))
            return false;
        if (size < 0)
            throwErrno("cannot send a message");
        m_sent += static_cast<std::size_t>(size);
        if (m_sent == m_kept.front().size()) {
            m_kept.pop_front();
            m_sent = 0;
        }
    }
    return true;
}

} // namespace Itc

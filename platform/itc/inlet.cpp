#include "inlet.h"

#include "link.h"
#include "transfer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/socket.h>

namespace Itc {

bool Inlet::read(std::span<std::byte> buffer, const std::function<void(const Frame&)>& take)
{
    const Connection state = m_stream ? readConnection() : readGreeting();
    if (!m_stream)
        return state == Connection::QUIET;
    // Even when quiet: an earlier read may have been interrupted after it had taken the wakes.
    if (!readStream(buffer, take))
        return false;
    return (m_isInBand ? readInBand(take) : state) != Connection::OVER;
}

/** Takes the wakes, up to the mark after which the connection carries frames. */
Inlet::Connection Inlet::readConnection()
{
    if (m_isInBand)
        return Connection::QUIET;
    std::array<char, 4096> wakes;
    const ssize_t size =
        ::recv(m_connection.get(), wakes.data(), wakes.size(), MSG_DONTWAIT | MSG_PEEK);
    if (size <= 0)
        return size < 0 && (errno == EAGAIN || errno == EINTR) ? Connection::QUIET
                                                               : Connection::OVER;
    const auto end = wakes.begin() + size;
    const auto mark = std::find(wakes.begin(), end, inBandMark);
    const auto taken = static_cast<std::size_t>(mark - wakes.begin()) + (mark != end ? 1 : 0);
    m_isInBand = ::recv(m_connection.get(), wakes.data(), taken, MSG_DONTWAIT) ==
                     static_cast<ssize_t>(taken) &&
                 mark != end;
    return Connection::WOKEN;
}

Inlet::Connection Inlet::readInBand(const std::function<void(const Frame&)>& take)
{
    std::array<std::byte, 4096> part;
    for (;;) {
        std::span<const std::byte> bytes = m_bytes;
        Parsed next = parseFrame(bytes);
        if (next.verdict == Verdict::MALFORMED)
            return Connection::OVER;
        if (next.verdict == Verdict::WHOLE) {
            take(next.frame);
            m_bytes.erase(m_bytes.begin(),
                          m_bytes.begin() + static_cast<std::ptrdiff_t>(next.frame.size()));
            continue;
        }
        m_bytes.reserve(m_bytes.size() + part.size()); // before they are taken from the connection
        const ssize_t size = ::recv(m_connection.get(), part.data(), part.size(), MSG_DONTWAIT);
        if (size <= 0)
            return size < 0 && (errno == EAGAIN || errno == EINTR) ? Connection::QUIET
                                                                   : Connection::OVER;
        m_bytes.insert(m_bytes.end(), part.begin(), part.begin() + size);
    }
}

Inlet::Connection Inlet::readGreeting()
{
    Greeting greeting{0, 0};
    iovec part{&greeting, sizeof greeting};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = CMSG_LEN(sizeof(int)); // room for one descriptor, not for two

    // Only looked at: where no descriptor is free for the stream, it must not be lost.
    const ssize_t size =
        ::recvmsg(m_connection.get(), &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC | MSG_PEEK);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return Connection::QUIET;
    Descriptor handed;
    const cmsghdr* const rights = size > 0 ? CMSG_FIRSTHDR(&header) : nullptr;
    if (rights != nullptr && rights->cmsg_level == SOL_SOCKET && rights->cmsg_type == SCM_RIGHTS &&
        rights->cmsg_len == CMSG_LEN(sizeof(int))) {
        int fd = -1;
        std::memcpy(&fd, CMSG_DATA(rights), sizeof fd);
        handed = Descriptor(fd);
    }
    if (rights == nullptr && size > 0 && (header.msg_flags & MSG_CTRUNC) != 0)
        throw std::system_error(EMFILE, std::generic_category(), "cannot take a stream");
    // Only a file in memory has seals; to read anything else might wait.
    if (size != static_cast<ssize_t>(sizeof greeting) || (header.msg_flags & MSG_CTRUNC) != 0 ||
        greeting != Greeting{} || !handed || ::fcntl(handed.get(), F_GET_SEALS) < 0)
        return Connection::OVER;
    m_stream = std::move(handed);
    return readConnection(); // the greeting is still there, and wakes as the bytes after it do
}

bool Inlet::readStream(std::span<std::byte> buffer, const std::function<void(const Frame&)>& take)
{
    const off_t end = ::lseek(m_stream.get(), 0, SEEK_CUR);
    while (m_consumed < end) {
        const std::size_t wanted =
            std::min(buffer.size(), static_cast<std::size_t>(end - m_consumed));
        const ssize_t size = readAll(m_stream.get(), m_consumed, buffer.first(wanted));
        std::span<const std::byte> bytes(buffer.data(),
                                         static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        bool progress = false;
        for (Parsed next = parseFrame(bytes); next.verdict == Verdict::WHOLE;
             next = parseFrame(bytes)) {
            take(next.frame);
            bytes = bytes.subspan(next.frame.size());
            m_consumed += static_cast<off_t>(next.frame.size());
            progress = true;
        }
        if (!progress)
            return false; // the stream holds whole frames only
        freeConsumed();
    }
    return m_consumed == end;
}

/** Gives the memory back, and clears the bytes: by that the sender sees what has been taken. */
void Inlet::freeConsumed() noexcept
{
    if (::fallocate(m_stream.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, m_freed,
                    m_consumed - m_freed) == 0)
        m_freed = m_consumed;
}

} // namespace Itc

#include "inlet.h"

#include "link.h"
#include "transfer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>

namespace Itc {

bool isOwnUser(int connection) noexcept
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

bool Inlet::read(std::span<std::byte> buffer, const std::function<void(const Frame&)>& take)
{
    const Connection state = m_stream ? readConnection() : readGreeting();
    if (!m_stream)
        return state == Connection::QUIET;
    // Even when quiet: an earlier read may have been interrupted after it had taken the wakes.
    return readStream(buffer, take) && state != Connection::OVER;
}

Inlet::Connection Inlet::readConnection()
{
    std::array<std::byte, 4096> wakes;
    const ssize_t size = ::recv(m_connection.get(), wakes.data(), wakes.size(), MSG_DONTWAIT);
    if (size > 0)
        return Connection::WOKEN;
    return size < 0 && (errno == EAGAIN || errno == EINTR) ? Connection::QUIET : Connection::OVER;
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

    const ssize_t size = ::recvmsg(m_connection.get(), &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
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
    // Only a file in memory has seals; to read anything else might wait.
    if (size != static_cast<ssize_t>(sizeof greeting) || (header.msg_flags & MSG_CTRUNC) != 0 ||
        greeting != Greeting{} || !handed || ::fcntl(handed.get(), F_GET_SEALS) < 0)
        return Connection::OVER;
    m_stream = std::move(handed);
    return Connection::WOKEN;
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

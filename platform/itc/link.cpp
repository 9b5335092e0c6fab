#include "link.h"

#include "report.h"
#include "transfer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <vector>

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>

namespace Itc {

namespace {

iovec slice(const void* data, std::size_t size) noexcept
{
    return {const_cast<void*>(data), size};
}

} // namespace

bool Link::send(const Frame& frame)
{
    write(frame);
    if (!m_greeted)
        return greet();
    // A connection that is full of such bytes wakes its receiver without another.
    return ::send(m_connection.get(), "", 1, MSG_DONTWAIT | MSG_NOSIGNAL) == 1 || errno == EAGAIN;
}

pid_t Link::process() const noexcept
{
    ucred peer{};
    socklen_t size = sizeof peer;
    const bool known = ::getsockopt(m_connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return known ? peer.pid : 0;
}

/** The receiver clears what it has taken, and the first byte of a frame is never zero. */
std::uint64_t Link::waiting() noexcept
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

void Link::write(const Frame& frame)
{
    if (!m_stream) {
        m_stream = Descriptor(::memfd_create("itc", MFD_CLOEXEC));
        if (!m_stream)
            throwErrno("cannot make a stream");
    }
    const FrameHeader header = headerOf(frame);
    std::array<iovec, 3> parts = {slice(&header, sizeof header),
                                  slice(frame.name.data(), frame.name.size()),
                                  slice(frame.message.data(), frame.message.size())};
    const off_t end = m_written + static_cast<off_t>(frame.size());
    if (!writeAll(m_stream.get(), m_written, parts) ||
        ::lseek(m_stream.get(), end, SEEK_SET) != end)
        throwErrno("cannot hold a message");
    m_written = end;
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
    if (!m_greeted && errno != EPIPE && errno != ECONNRESET)
        throwErrno("cannot hand over a stream");
    return m_greeted;
}

std::shared_ptr<Link> Links::to(std::uint32_t mailbox, const Directory& directory)
{
    if (const auto known = m_links.find(mailbox); known != m_links.end())
        return known->second;
    dropDead();
    Descriptor connection = directory.connect(mailbox);
    if (!connection)
        return nullptr;
    return m_links.emplace(mailbox, std::make_shared<Link>(std::move(connection))).first->second;
}

void Links::drop(std::uint32_t mailbox, const std::shared_ptr<Link>& link)
{
    const auto known = m_links.find(mailbox);
    if (known != m_links.end() && known->second == link)
        m_links.erase(known);
}

/** Links to mailboxes that have gone; dropping them with each new one keeps their number level. */
void Links::dropDead()
{
    std::vector<pollfd> polled;
    for (const auto& [mailbox, link] : m_links)
        polled.push_back({link->connection(), 0, 0});
    if (::poll(polled.data(), polled.size(), 0) <= 0)
        return;
    auto current = polled.begin();
    std::erase_if(m_links, [&](const auto&) { return (current++)->revents != 0; });
}

} // namespace Itc

#include "mailbox.h"

#include "report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

namespace Itc {

bool Selection::takes(Message& message) const noexcept
{
    return (sender == ITC_FROM_ALL || sender == message.sender) &&
           (numbers.empty() ||
            std::find(numbers.begin(), numbers.end(), message.number()) != numbers.end());
}

Mailbox::Mailbox(const std::string& nameEntry, Directory::Endpoint endpoint,
                 const Directory& directory, Links& links)
    : m_directory(directory), m_links(links), m_id(endpoint.id), m_nameEntry(nameEntry),
      m_listener(std::move(endpoint.socket)), m_events(::epoll_create1(EPOLL_CLOEXEC))
{
    if (!m_events)
        throwErrno("cannot create a mailbox");
    setAccepting(true);
}

void Mailbox::enqueue(MessagePtr message, std::uint32_t sender) noexcept
{
    message->sender = sender;
    m_queue.push(std::move(message));
}

MessagePtr Mailbox::take(const Selection& selection)
{
    return m_queue.take([&](Message& message) { return selection.takes(message); });
}

template <typename Work>
void Mailbox::attempt(const Work& work)
{
    try {
        work();
    } catch (...) {
        m_behind = true;
        throw;
    }
}

void Mailbox::resume()
{
    setAccepting(true);
    if (m_behind) {
        readEverything();
        answerLocates();
        m_behind = false;
    }
}

void Mailbox::handle(std::span<const epoll_event> events)
{
    attempt([&] { handleEach(events); });
}

void Mailbox::handleEach(std::span<const epoll_event> events)
{
    std::vector<std::uint32_t> gone;
    for (const epoll_event& event : events) {
        const auto key = static_cast<std::uint32_t>(event.data.u64);
        switch (static_cast<Source>(event.data.u64 >> 32)) {
        case Source::LISTENER:
            acceptAll();
            break;
        case Source::INLET:
            readInlet(static_cast<int>(key));
            break;
        case Source::CHANNEL:
            answerLocates();
            break;
        case Source::MONITOR:
            gone.push_back(key);
            break;
        }
    }
    if (!gone.empty()) {
        // What a mailbox sent before it went is queued before the news that it has gone.
        readEverything();
        std::for_each(gone.begin(), gone.end(), [&](std::uint32_t id) { checkMonitor(id); });
    }
}

void Mailbox::locate(std::string_view name, MessagePtr message)
{
    if (const std::uint32_t found = m_directory.find(name); found != ITC_NO_MBOX_ID) {
        enqueue(std::move(message), found);
        return;
    }
    if (!m_channel)
        openChannel();
    m_locates.push_back({std::string(name), std::move(message)});
    // It may have been created before the channel was there to tell.
    attempt([this] { answerLocates(); });
}

void Mailbox::openChannel()
{
    Descriptor channel = m_directory.openChannel(m_id);
    try {
        watch(channel.get(), Source::CHANNEL, 0, EPOLLIN);
    } catch (...) {
        m_directory.removeChannel(m_id);
        throw;
    }
    m_channel = std::move(channel);
}

void Mailbox::answerLocates()
{
    if (!m_channel)
        return;
    std::array<char, 16> wakes;
    while (::recv(m_channel.get(), wakes.data(), wakes.size(), MSG_DONTWAIT) >= 0) {
    }
    std::erase_if(m_locates, [&](Locate& pending) {
        const std::uint32_t found = m_directory.find(pending.name);
        if (found != ITC_NO_MBOX_ID)
            enqueue(std::move(pending.message), found);
        return found != ITC_NO_MBOX_ID;
    });
    if (m_locates.empty()) {
        m_directory.removeChannel(m_id);
        m_channel = {};
    }
}

std::uint32_t Mailbox::monitor(std::uint32_t mailbox, MessagePtr message)
{
    auto known = m_monitors.find(mailbox);
    if (known == m_monitors.end()) {
        std::shared_ptr<Link> link = m_links.to(mailbox, m_directory);
        if (!link) {
            enqueue(std::move(message), mailbox);
            return nextReference();
        }
        known = m_monitors.try_emplace(mailbox).first;
        known->second.link = std::move(link);
        try { // a hang-up is always reported
            watch(known->second.link->connection(), Source::MONITOR, mailbox, 0);
        } catch (...) {
            m_monitors.erase(known);
            throw;
        }
    }
    known->second.messages.push(std::move(message));
    return nextReference();
}

/**
 * A connection that hangs up says only that it has ended: a process that is dying closes its
 * sockets one by one. The mailbox has gone when it cannot be reached again.
 */
void Mailbox::checkMonitor(std::uint32_t mailbox)
{
    const auto found = m_monitors.find(mailbox);
    if (found == m_monitors.end())
        return;
    Monitor& monitor = found->second;
    unwatch(monitor.link->connection());
    m_links.drop(mailbox, monitor.link);
    try {
        monitor.link = m_links.to(mailbox, m_directory);
        if (monitor.link) {
            watch(monitor.link->connection(), Source::MONITOR, mailbox, 0);
            return;
        }
    } catch (const std::exception& error) { // nobody would tell of its end any more
        report(nullptr, 0, error.what());
    }
    while (MessagePtr message = monitor.messages.takeFirst())
        enqueue(std::move(message), mailbox);
    m_monitors.erase(found);
}

void Mailbox::watch(int fd, Source source, std::uint32_t key, std::uint32_t events)
{
    epoll_event event{};
    event.events = events;
    event.data.u64 = std::uint64_t{static_cast<std::uint32_t>(source)} << 32 | key;
    if (::epoll_ctl(m_events.get(), EPOLL_CTL_ADD, fd, &event) != 0)
        throwErrno("cannot wait for a mailbox's events");
}

void Mailbox::unwatch(int fd) noexcept
{
    ::epoll_ctl(m_events.get(), EPOLL_CTL_DEL, fd, nullptr);
}

void Mailbox::setAccepting(bool accepting)
{
    if (accepting != m_accepting) {
        if (accepting)
            watch(m_listener.get(), Source::LISTENER, 0, EPOLLIN);
        else
            unwatch(m_listener.get());
        m_accepting = accepting;
    }
}

void Mailbox::acceptAll()
{
    for (;;) {
        Descriptor connection = acceptOne();
        if (connection) {
            if (isOwnUser(connection.get())) {
                const int fd = connection.get();
                watch(fd, Source::INLET, static_cast<std::uint32_t>(fd), EPOLLIN);
                m_inlets.emplace(fd, Inlet(std::move(connection)));
                readInlet(fd);
            }
        } else if (errno == EAGAIN) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            // Out of descriptors: until one is free, the connection would be reported without end.
            setAccepting(false);
            return;
        }
    }
}

/** Only where a second descriptor is free, for the stream that comes with the connection. */
Descriptor Mailbox::acceptOne() const
{
    const Descriptor spare(::fcntl(m_events.get(), F_DUPFD_CLOEXEC, 0));
    return Descriptor(
        spare ? ::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK) : -1);
}

void Mailbox::readInlet(int fd)
{
    const auto inlet = m_inlets.find(fd);
    if (inlet == m_inlets.end())
        return;
    if (!m_buffer)
        m_buffer = std::make_unique_for_overwrite<std::byte[]>(maxFrameSize);
    if (!inlet->second.read({m_buffer.get(), maxFrameSize},
                            [this](const Frame& frame) { takeFrame(frame); })) {
        m_inlets.erase(inlet);
        setAccepting(true);
    }
}

void Mailbox::readEverything()
{
    acceptAll();
    std::vector<int> inlets;
    for (const auto& [fd, inlet] : m_inlets)
        inlets.push_back(fd);
    std::for_each(inlets.begin(), inlets.end(), [&](int fd) { readInlet(fd); });
}

void Mailbox::takeFrame(const Frame& frame)
{
    MessagePtr message = makeMessage(frame.message.size());
    if (!message)
        throw std::bad_alloc();
    std::memcpy(message->bytes().data(), frame.message.data(), frame.message.size());
    if (frame.kind == FrameKind::MESSAGE) {
        enqueue(std::move(message), frame.sender);
        return;
    }
    try {
        locate(frame.name, std::move(message));
    } catch (const std::system_error& error) {
        report(nullptr, 0, error.what());
    }
}

} // namespace Itc

#include "mailbox.h"

#include "entries.h"
#include "report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Itc {

bool Selection::takes(Message& message) const noexcept
{
    return (sender == ITC_FROM_ALL || sender == message.sender) &&
           (numbers.empty() ||
            std::find(numbers.begin(), numbers.end(), message.number()) != numbers.end());
}

Mailbox::Mailbox(std::string_view name, Directory& directory, Links& links)
    : m_directory(directory), m_links(links), m_name(name), m_spareLocate(spareLocate()),
      m_spareMonitor(spareMonitor()), m_id(directory.newId())
{
}

Mailbox::~Mailbox()
{
    if (!m_abandoned)
        removeEntries();
}

bool Mailbox::make()
{
    const auto entry = Itc::nameEntry(m_name);
    if (!entry)
        return false;
    m_nameEntry = *entry;
    try {
        return complete();
    } catch (const std::exception& error) {
        if (!mayPass(error))
            throw;
        m_retry.failed(error);
        return true;
    }
}

/** Each step is done once, in the order in which others may meet its result. */
bool Mailbox::complete()
{
    if (!m_events) {
        m_events = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
        if (!m_events)
            throwErrno("cannot make a mailbox");
    }
    if (!m_listener)
        m_listener = m_directory.bindEndpoint(m_id);
    if (!m_isListening) {
        watch(m_listener.get(), Source::LISTENER, 0, EPOLLIN);
        m_isListening = true;
    }
    if (!m_isNamed && !takeName())
        return false;
    if (!m_isAnnounced) {
        m_directory.wakeWaiters();
        m_isAnnounced = true;
    }
    return true;
}

/**
 * A name that ends with this process's id can be another process's only in another process id
 * namespace, where it means that one. Both are right, so this mailbox is known by its id alone.
 */
bool Mailbox::takeName()
{
    const std::uint32_t holder = m_directory.claim(m_nameEntry, m_id);
    if (holder != m_id) {
        if (m_directory.isOurs(holder) || !isNamedForThisProcess())
            return false;
        m_nameEntry.clear();
    }
    m_isNamed = true;
    return true;
}

bool Mailbox::isNamedForThisProcess() const
{
    const std::string pid = std::to_string(::getpid());
    const std::size_t digits = m_name.size() - (m_name.find_last_not_of("0123456789") + 1);
    return digits == pid.size() && m_name.ends_with(pid);
}

void Mailbox::removeEntries() noexcept
{
    closeChannel();
    m_directory.remove(m_id, m_nameEntry);
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

void Mailbox::owe(const std::exception& error) noexcept
{
    m_retry.failed(error);
    m_refused = !mayPass(error) && !m_isAnnounced;
    if (!mayPass(error))
        m_retry.postpone();
}

void Mailbox::handle(std::span<const epoll_event> events)
{
    attempt([&] {
        if (m_accepting.isDue()) {
            acceptAll();
            checkMonitors();
        }
        handleEach(events);
    });
}

void Mailbox::catchUp()
{
    attempt([&] {
        if (!complete())
            throw std::runtime_error("mailbox \"" + m_name +
                                     "\" cannot be made: another live mailbox has the name");
        readEverything();
        if (!m_locates.empty() && !m_channel.socket)
            openChannel();
        answerLocates();
        checkMonitors();
        m_retry.done();
    });
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
        std::for_each(gone.begin(), gone.end(), [&](std::uint32_t id) { loseLink(id); });
        checkMonitors();
    }
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

/** Where descriptors are short, no connection is taken for a while; all else goes on. */
void Mailbox::acceptAll()
{
    try {
        while (acceptOne()) {
        }
    } catch (const std::exception& error) {
        if (!mayPass(error))
            throw;
        m_accepting.failed(error);
        unwatch(m_listener.get()); // it would be reported without end
        return;
    }
    if (m_accepting.isOwed()) {
        watch(m_listener.get(), Source::LISTENER, 0, EPOLLIN);
        m_accepting.done();
    }
}

/** False where there is none. One that cannot be watched yet is kept for the next call. */
bool Mailbox::acceptOne()
{
    if (!m_accepted)
        m_accepted = accepted();
    if (!m_accepted) {
        if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED)
            throwErrno("cannot take a connection");
        return errno != EAGAIN;
    }
    if (m_directory.isOwnUser(m_accepted.get())) {
        const int fd = m_accepted.get();
        watch(fd, Source::INLET, static_cast<std::uint32_t>(fd), EPOLLIN);
        try {
            m_inlets.try_emplace(fd, std::move(m_accepted));
        } catch (...) {
            unwatch(fd); // it would be reported without end
            throw;
        }
        try {
            readInlet(fd);
        } catch (const std::bad_alloc& error) {
            owe(error); // what has woken this mailbox may have been taken already
        }
    }
    m_accepted = {};
    return true;
}

/**
 * Only where enough descriptors stay free: for the stream that comes with the connection, for the
 * connection and the stream of an answer to it and to each that has had none, and for what else
 * the process does. So those whose connections have been taken are served, however many wait.
 */
Descriptor Mailbox::accepted() const
{
    constexpr std::size_t forOtherWork = 4;
    const std::size_t unanswered = m_inlets.size() - std::min(m_inlets.size(), m_links.count());
    std::vector<Descriptor> spare(1 + 2 * (1 + unanswered) + forOtherWork);
    for (Descriptor& each : spare) {
        each = Descriptor(::fcntl(m_events.get(), F_DUPFD_CLOEXEC, 0));
        if (!each) {
            errno = EMFILE; // also where the limit is 0, of which fcntl says EINVAL
            throwErrno("cannot take a connection");
        }
    }
    spare.clear();
    return Descriptor(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

void Mailbox::readInlet(int fd)
{
    const auto inlet = m_inlets.find(fd);
    if (inlet == m_inlets.end())
        return;
    if (!m_buffer)
        m_buffer = std::make_unique_for_overwrite<std::byte[]>(maxFrameSize);
    if (!inlet->second.read({m_buffer.get(), maxFrameSize},
                            [this](const Frame& frame) { takeFrame(frame); }))
        m_inlets.erase(inlet);
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
    std::memcpy(message->body(), frame.message.data(), frame.message.size());
    if (frame.kind == FrameKind::MESSAGE) {
        enqueue(std::move(message), frame.sender);
        return;
    }
    locate(frame.name, std::move(message));
}

} // namespace Itc

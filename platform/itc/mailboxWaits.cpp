// What a mailbox waits for: names that nobody has yet, and the ends of others.
#include "mailbox.h"
#include "report.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include <sys/socket.h>

namespace Itc {

std::list<Mailbox::Locate> Mailbox::spareLocate()
{
    std::list<Locate> spare(1);
    spare.front().name.reserve(maxNameSize);
    return spare;
}

Mailbox::Monitors::node_type Mailbox::spareMonitor()
{
    Monitors spare;
    return spare.extract(spare.try_emplace(ITC_NO_MBOX_ID).first);
}

void Mailbox::locate(std::string_view name, MessagePtr message)
{
    if (m_spareLocate.empty())
        m_spareLocate = spareLocate();
    m_spareLocate.front().name = name;
    m_spareLocate.front().message = std::move(message);
    m_locates.splice(m_locates.end(), m_spareLocate);
    attempt([this] {
        if (m_retry.isOwed())
            return;
        answerLocates();
        if (m_locates.empty() || m_channel.socket)
            return;
        openChannel();
        // It may have been created before the channel was there to tell.
        answerLocates();
    });
}

void Mailbox::openChannel()
{
    Directory::Channel channel = m_directory.openChannel();
    try {
        watch(channel.socket.get(), Source::CHANNEL, 0, EPOLLIN);
    } catch (...) {
        m_directory.removeEntry(channel.entry);
        throw;
    }
    m_channel = std::move(channel);
}

void Mailbox::closeChannel() noexcept
{
    if (m_channel.socket) {
        m_directory.removeEntry(m_channel.entry);
        m_channel.socket = {};
    }
}

void Mailbox::answerLocates()
{
    std::array<char, 16> wakes;
    while (m_channel.socket &&
           ::recv(m_channel.socket.get(), wakes.data(), wakes.size(), MSG_DONTWAIT) >= 0) {
    }
    for (auto next = m_locates.begin(); next != m_locates.end();) {
        const auto pending = next++;
        const std::uint32_t found = findOrReport(pending->name);
        if (found == ITC_NO_MBOX_ID)
            continue;
        enqueue(std::move(pending->message), found);
        m_spareLocate.clear();
        m_spareLocate.splice(m_spareLocate.end(), m_locates, pending);
    }
    if (m_locates.empty())
        closeChannel();
}

/** What cannot be looked up for good is left for the next mailbox that is made. */
std::uint32_t Mailbox::findOrReport(const std::string& name)
{
    try {
        return m_directory.find(name);
    } catch (const std::exception& error) {
        if (mayPass(error))
            throw;
        m_retry.failed(error);
        return ITC_NO_MBOX_ID;
    }
}

std::uint32_t Mailbox::monitor(std::uint32_t mailbox, MessagePtr message)
{
    const auto known = m_monitors.find(mailbox);
    const bool isNew = known == m_monitors.end();
    Monitor& monitor = isNew ? newMonitor(mailbox) : known->second;
    monitor.messages.push(std::move(message));
    if (isNew)
        attempt([&] { watchMonitored(mailbox, monitor); });
    return nextReference();
}

Mailbox::Monitor& Mailbox::newMonitor(std::uint32_t mailbox)
{
    if (!m_spareMonitor)
        m_spareMonitor = spareMonitor();
    m_spareMonitor.key() = mailbox;
    return m_monitors.insert(std::move(m_spareMonitor)).position->second;
}

/** The link to a mailbox; null where it has gone or cannot be reached for good. */
std::shared_ptr<Link> Mailbox::linkOrReport(std::uint32_t mailbox)
{
    try {
        return m_links.to(mailbox, m_directory);
    } catch (const std::exception& error) {
        if (mayPass(error))
            throw;
        m_retry.failed(error);
        return nullptr;
    }
}

/** Watches a mailbox that is to be watched and is not; returns its monitor where it has gone. */
void Mailbox::watchMonitored(std::uint32_t mailbox, Monitor& monitor)
{
    if (std::shared_ptr<Link> link = linkOrReport(mailbox)) {
        watch(link->connection(), Source::MONITOR, mailbox, 0); // a hang-up is always reported
        monitor.link = std::move(link);
        return;
    }
    while (MessagePtr message = monitor.messages.takeFirst())
        enqueue(std::move(message), mailbox);
    m_spareMonitor = m_monitors.extract(mailbox);
}

/** Lets go of a connection that has hung up, and so of its descriptors. */
void Mailbox::loseLink(std::uint32_t mailbox)
{
    const auto found = m_monitors.find(mailbox);
    if (found == m_monitors.end() || !found->second.link)
        return;
    unwatch(found->second.link->connection());
    m_links.drop(mailbox, found->second.link);
    found->second.link = nullptr;
}

/**
 * A connection that hangs up says only that it has ended: a process that is dying closes its
 * sockets one by one. The mailbox has gone when it cannot be reached again. That is not told while
 * connections wait to be taken: one of them may have what the mailbox sent before.
 */
void Mailbox::checkMonitors()
{
    if (m_accepting.isOwed())
        return;
    std::vector<std::uint32_t> unwatched;
    for (const auto& [mailbox, monitor] : m_monitors)
        if (!monitor.link)
            unwatched.push_back(mailbox);
    for (const std::uint32_t mailbox : unwatched)
        watchMonitored(mailbox, m_monitors.at(mailbox));
}

} // namespace Itc

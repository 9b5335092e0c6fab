#include "links.h"

#include "report.h"

#include <algorithm>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

#include <poll.h>

namespace Itc {

namespace {

Frame frameOf(const Message& message) noexcept
{
    return {FrameKind::MESSAGE, message.sender, {}, message.bytes()};
}

} // namespace

bool Links::send(MessagePtr message, std::uint32_t mailbox, Directory& directory)
{
    message->receiver = mailbox;
    try {
        if (m_queue.isEmpty())
            return send(frameOf(*message), mailbox, directory);
    } catch (const std::bad_alloc& error) {
        m_retry.failed(error);
    }
    m_queue.push(std::move(message));
    return true;
}

bool Links::send(const Frame& frame, std::uint32_t mailbox, Directory& directory)
{
    std::shared_ptr<Link> link = linkTo(mailbox);
    try {
        if (link->send(frame, directory)) {
            if (link->isBehind())
                m_retry.postpone();
            return true;
        }
    } catch (const NotKept&) {
        throw;
    } catch (const std::exception& error) {
        m_retry.failed(error);
        if (mayPass(error))
            return true; // it is kept
    }
    drop(mailbox, link);
    return false;
}

std::shared_ptr<Link> Links::to(std::uint32_t mailbox, Directory& directory)
{
    std::shared_ptr<Link> link = linkTo(mailbox);
    try {
        if (link->connect(directory))
            return link;
    } catch (...) {
        if (!link->isBehind())
            drop(mailbox, link);
        throw;
    }
    drop(mailbox, link);
    return nullptr;
}

std::shared_ptr<Link> Links::inAnyState(std::uint32_t mailbox, Directory& directory)
{
    try {
        return to(mailbox, directory);
    } catch (const std::exception& error) {
        if (!mayPass(error))
            throw;
        return linkTo(mailbox);
    }
}

void Links::drop(std::uint32_t mailbox, const std::shared_ptr<Link>& link)
{
    const auto known = m_links.find(mailbox);
    if (known != m_links.end() && known->second == link)
        m_links.erase(known);
}

void Links::clear()
{
    m_links.clear();
    while (m_queue.takeFirst()) {
    }
}

void Links::flush(Directory& directory) noexcept
{
    if (!m_retry.isOwed())
        return;
    try {
        flushLinks(directory);
        flushQueue(directory);
    } catch (const std::exception& error) {
        m_retry.failed(error);
        return;
    }
    if (std::any_of(m_links.begin(), m_links.end(),
                    [](const auto& entry) { return entry.second->isBehind(); }))
        m_retry.postpone();
    else
        m_retry.done();
}

void Links::flushLinks(Directory& directory)
{
    for (auto next = m_links.begin(); next != m_links.end();) {
        const auto current = next++;
        if (!current->second->flush(directory))
            m_links.erase(current);
    }
}

void Links::flushQueue(Directory& directory)
{
    while (const Message* const first = m_queue.first()) {
        send(frameOf(*first), first->receiver, directory);
        m_queue.takeFirst();
    }
}

std::size_t Links::kept() const noexcept
{
    return std::accumulate(
        m_links.begin(), m_links.end(), m_queue.size(),
        [](std::size_t sum, const auto& entry) { return sum + entry.second->kept(); });
}

std::shared_ptr<Link> Links::linkTo(std::uint32_t mailbox)
{
    if (const auto known = m_links.find(mailbox); known != m_links.end())
        return known->second;
    dropDead();
    return m_links.emplace(mailbox, std::make_shared<Link>(mailbox)).first->second;
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

#ifndef VARNIX_PLATFORM_ITC_LINKS_H
#define VARNIX_PLATFORM_ITC_LINKS_H

#include "link.h"
#include "messageQueue.h"
#include "retry.h"

#include <cstdint>
#include <map>
#include <memory>

namespace Itc {

/** The links of this process, one to each mailbox that it sends to or monitors. */
class Links
{
public:
    /** Sends a message, now or when a shortage is over; false where the mailbox has gone. */
    bool send(MessagePtr message, std::uint32_t mailbox, Directory& directory);
    /** The same for another frame. Throws std::bad_alloc where that is neither sent nor kept. */
    bool send(const Frame& frame, std::uint32_t mailbox, Directory& directory);
    /** The connected link to a mailbox; null where the mailbox has gone. Throws. */
    std::shared_ptr<Link> to(std::uint32_t mailbox, Directory& directory);
    /** The same, not connected where a shortage prevents it. */
    std::shared_ptr<Link> inAnyState(std::uint32_t mailbox, Directory& directory);
    void drop(std::uint32_t mailbox, const std::shared_ptr<Link>& link);
    void clear();
    /** How many there are, those that a shortage keeps from connecting included. */
    std::size_t count() const noexcept { return m_links.size(); }

    /** When flush() is to be called next. */
    const Retry& retry() const noexcept { return m_retry; }
    /** Sends what is kept. */
    void flush(Directory& directory) noexcept;
    /** The number of messages that are kept. */
    std::size_t kept() const noexcept;

private:
    void flushLinks(Directory& directory);
    void flushQueue(Directory& directory);
    std::shared_ptr<Link> linkTo(std::uint32_t mailbox);
    void dropDead();

    std::map<std::uint32_t, std::shared_ptr<Link>> m_links;
    /** Those that no link had the memory to keep, and all after them: to queue one needs none. */
    MessageQueue m_queue;
    Retry m_retry;
};

} // namespace Itc

#endif

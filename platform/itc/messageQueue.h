#ifndef VARNIX_PLATFORM_ITC_MESSAGEQUEUE_H
#define VARNIX_PLATFORM_ITC_MESSAGEQUEUE_H

/** Messages in the order in which they came. Linked through the messages: to queue one needs no
 * memory and cannot fail. */

#include "message.h"

namespace Itc {

class MessageQueue
{
public:
    MessageQueue() = default;
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;
    ~MessageQueue()
    {
        while (takeFirst()) {
        }
    }

    bool isEmpty() const noexcept { return m_first == nullptr; }
    /** The first message, which stays in the queue; null where there is none. */
    const Message* first() const noexcept { return m_first; }
    std::size_t size() const noexcept
    {
        std::size_t count = 0;
        for (const Message* message = m_first; message != nullptr; message = message->next)
            ++count;
        return count;
    }

    void push(MessagePtr message) noexcept
    {
        Message* const last = message.release();
        last->next = nullptr;
        *m_end = last;
        m_end = &last->next;
    }

    /** The first message of which `wanted` holds, or null. */
    template <typename Wanted>
    MessagePtr take(const Wanted& wanted)
    {
        for (Message** link = &m_first; *link != nullptr; link = &(*link)->next) {
            Message* const message = *link;
            if (wanted(*message)) {
                *link = message->next;
                if (m_end == &message->next)
                    m_end = link;
                return MessagePtr(message);
            }
        }
        return nullptr;
    }

    MessagePtr takeFirst()
    {
        return take([](Message&) { return true; });
    }

private:
    Message* m_first = nullptr;
    Message** m_end = &m_first; ///< where the next message is linked
};

} // namespace Itc

#endif

#ifndef VARNIX_PLATFORM_ITC_MAILBOX_H
#define VARNIX_PLATFORM_ITC_MAILBOX_H

/** A thread's mailbox: what it has received, and what it waits for. */

#include "descriptor.h"
#include "directory.h"
#include "inlet.h"
#include "link.h"
#include "messageQueue.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <sys/epoll.h>

namespace Itc {

/** Which messages a receive takes. */
struct Selection
{
    std::span<const std::uint32_t> numbers; ///< empty for all
    std::uint32_t sender;                   ///< or ITC_FROM_ALL

    bool takes(Message& message) const noexcept;
};

class Mailbox
{
public:
    Mailbox(const std::string& nameEntry, Directory::Endpoint endpoint, const Directory& directory,
            Links& links);

    std::uint32_t id() const noexcept { return m_id; }
    /** How its name stands in the directory. */
    const std::string& nameEntry() const noexcept { return m_nameEntry; }
    /** What becomes readable when there is something to handle. */
    int events() const noexcept { return m_events.get(); }

    void enqueue(MessagePtr message, std::uint32_t sender) noexcept;
    /** The first queued message that the selection takes, or null. */
    MessagePtr take(const Selection& selection);
    /** Accepts again after descriptors ran out, and does what a failure left undone. */
    void resume();
    /** Handles what `events()` reported. What a failure leaves undone, the next resume() does. */
    void handle(std::span<const epoll_event> events);

    /** Queues `message` when a mailbox of that name exists. */
    void locate(std::string_view name, MessagePtr message);
    /** Queues `message` when that mailbox has gone. Answers a number for it, never 0. */
    std::uint32_t monitor(std::uint32_t mailbox, MessagePtr message);

private:
    enum class Source : std::uint32_t
    {
        LISTENER,
        INLET,
        CHANNEL,
        MONITOR
    };

    struct Locate
    {
        std::string name;
        MessagePtr message;
    };

    struct Monitor
    {
        std::shared_ptr<Link> link;
        MessageQueue messages;
    };

    template <typename Work>
    void attempt(const Work& work);
    void handleEach(std::span<const epoll_event> events);
    void openChannel();

    void watch(int fd, Source source, std::uint32_t key, std::uint32_t events);
    void unwatch(int fd) noexcept;

    void setAccepting(bool accepting);
    void acceptAll();
    Descriptor acceptOne() const;
    void readInlet(int fd);
    void readEverything();
    void takeFrame(const Frame& frame);
    void answerLocates();
    void checkMonitor(std::uint32_t mailbox);
    std::uint32_t nextReference() noexcept { return ++m_lastReference; }

    const Directory& m_directory;
    Links& m_links;
    const std::uint32_t m_id;
    const std::string m_nameEntry;
    const Descriptor m_listener;
    const Descriptor m_events;
    bool m_accepting = false;
    bool m_behind = false;                 ///< something that was reported is not handled yet
    std::unique_ptr<std::byte[]> m_buffer; ///< one frame of the largest size; made when needed
    std::map<int, Inlet> m_inlets;
    MessageQueue m_queue;
    std::list<Locate> m_locates;
    Descriptor m_channel; ///< open while m_locates is not empty
    std::map<std::uint32_t, Monitor> m_monitors;
    std::uint32_t m_lastReference = 0;
};

} // namespace Itc

#endif

#ifndef VARNIX_PLATFORM_ITC_MAILBOX_H
#define VARNIX_PLATFORM_ITC_MAILBOX_H

/** A thread's mailbox: what it has received, and what it waits for. */

#include "descriptor.h"
#include "directory.h"
#include "inlet.h"
#include "links.h"
#include "messageQueue.h"
#include "retry.h"

#include <cstdint>
#include <exception>
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
    /** A mailbox of this process's; it is not made yet. */
    Mailbox(std::string_view name, Directory& directory, Links& links);
    ~Mailbox();
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    /**
     * Makes it, now or when a shortage is over. False where a live mailbox has the name, or nobody
     * can have it. Throws where it cannot be made.
     */
    bool make();
    /** Whether it turned out later that it cannot be made. */
    bool isRefused() const noexcept { return m_refused; }
    /** Lets go of it in the child of a fork, whose parent it belongs to. */
    void abandon() noexcept { m_abandoned = true; }

    std::uint32_t id() const noexcept { return m_id; }
    /** What becomes readable when there is something to handle. */
    int events() const noexcept { return m_events.get(); }
    /** When catchUp() is to be called; until then there is nothing to wait for. */
    const Retry& retry() const noexcept { return m_retry; }
    /** Milliseconds until handle() is to be called without an event; -1 for never. */
    int untilAccept() const noexcept { return m_accepting.remaining(); }

    void enqueue(MessagePtr message, std::uint32_t sender) noexcept;
    /** The first queued message that the selection takes, or null. */
    MessagePtr take(const Selection& selection);
    /** Handles what `events()` reported. What a shortage leaves undone is owed. */
    void handle(std::span<const epoll_event> events);
    /** Does what is owed. */
    void catchUp();
    /** Removes its entries, so that nobody finds it any more. */
    void removeEntries() noexcept;

    /** Queues `message` when a mailbox of that name exists. */
    void locate(std::string_view name, MessagePtr message);
    /** Queues `message` when that mailbox has gone. Returns a number for it, never 0. */
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
        std::shared_ptr<Link> link; ///< null while it cannot be made
        MessageQueue messages;
    };
    using Monitors = std::map<std::uint32_t, Monitor>;

    static std::list<Locate> spareLocate();
    static Monitors::node_type spareMonitor();

    /** What fails is reported and owed: an event that is not handled would come again at once. */
    template <typename Work>
    void attempt(const Work& work) noexcept
    {
        try {
            work();
        } catch (const std::exception& error) {
            owe(error);
        }
    }
    void owe(const std::exception& error) noexcept;
    bool complete();
    bool takeName();
    bool isNamedForThisProcess() const;
    void handleEach(std::span<const epoll_event> events);
    void openChannel();
    void closeChannel() noexcept;

    void watch(int fd, Source source, std::uint32_t key, std::uint32_t events);
    void unwatch(int fd) noexcept;

    void acceptAll();
    bool acceptOne();
    Descriptor accepted() const;
    void readInlet(int fd);
    void readEverything();
    void takeFrame(const Frame& frame);
    void answerLocates();
    std::uint32_t findOrReport(const std::string& name);
    std::shared_ptr<Link> linkOrReport(std::uint32_t mailbox);
    void watchMonitored(std::uint32_t mailbox, Monitor& monitor);
    Monitor& newMonitor(std::uint32_t mailbox);
    void loseLink(std::uint32_t mailbox);
    void checkMonitors();
    std::uint32_t nextReference() noexcept { return ++m_lastReference; }

    Directory& m_directory;
    Links& m_links;
    const std::string m_name;
    std::string m_nameEntry; ///< empty where it has none
    Descriptor m_events;
    Descriptor m_listener;
    Descriptor m_accepted; ///< a connection that is no inlet yet
    bool m_isListening = false;
    bool m_isNamed = false;
    bool m_isAnnounced = false; ///< those who wait for names know of it
    bool m_refused = false;
    bool m_abandoned = false;
    Retry m_retry;
    Retry m_accepting;                     ///< owed while the listener is not watched
    std::unique_ptr<std::byte[]> m_buffer; ///< one frame of the largest size; made when needed
    std::map<int, Inlet> m_inlets;
    MessageQueue m_queue;
    std::list<Locate> m_locates;
    std::list<Locate> m_spareLocate; ///< at most one: one locate at a time needs no more memory
    Directory::Channel m_channel;    ///< open while m_locates is not empty
    Monitors m_monitors;
    Monitors::node_type m_spareMonitor; ///< as m_spareLocate
    std::uint32_t m_lastReference = 0;
    const std::uint32_t
        m_id; ///< taken last: the destructor gives it back, so nothing may fail after it
};

} // namespace Itc

#endif

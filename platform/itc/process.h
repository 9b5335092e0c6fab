#ifndef VARNIX_PLATFORM_ITC_PROCESS_H
#define VARNIX_PLATFORM_ITC_PROCESS_H

/**
 * The mailboxes of this process and what they share, under the process's one lock.
 *
 * An operation holds the lock for all of its time but the wait of a blocked receive, so that a
 * fork, which takes it too, finds everything whole. Nothing that it does under the lock waits for
 * another mailbox or process.
 */

#include "directory.h"
#include "links.h"
#include "lock.h"
#include "mailbox.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include <pthread.h>

namespace Itc {

class Process
{
public:
    /** Never destroyed: a thread may be using it while the process ends. */
    static Process& instance();

    Lock& mutex() noexcept { return m_mutex; }

    bool isInitialised() const noexcept { return m_directory.has_value(); }
    void initialise(const char* file, int line);

    /** The calling thread's mailbox, or null. */
    Mailbox* own() const noexcept;
    /** The calling thread's new mailbox; null where it has one, or the name is held. */
    Mailbox* create(std::string_view name);
    /** What an id stands for in the calling thread. */
    std::uint32_t resolve(std::uint32_t id) const noexcept;

    /** Sends a message or another frame to another mailbox; false where that has gone. */
    template <typename Sent>
    bool send(Sent&& sent, std::uint32_t to)
    {
        if (!isInitialised())
            return false;
        flush();
        return m_links.send(std::forward<Sent>(sent), to, *m_directory);
    }
    /** The way to a mailbox, perhaps not connected yet; null where that has gone. */
    std::shared_ptr<Link> link(std::uint32_t mailbox);
    /** Sends what a shortage has held up, when it is due. */
    void flush() noexcept;
    /** Milliseconds until flush() is due; -1 where nothing is held up. */
    int untilFlush() const noexcept { return m_links.retry().remaining(); }
    /** Ends the calling thread's mailbox. */
    void endOwn();

private:
    Process();

    void abandon();
    static void endThread(void* mailbox);
    static void endProcess();

    Lock m_mutex;
    pthread_key_t m_ownMailbox{};
    std::optional<Directory> m_directory;
    Links m_links;
    std::map<std::uint32_t, std::unique_ptr<Mailbox>> m_mailboxes;
};

/** One operation of the interface: it holds the lock, and the thread cannot be cancelled in it. */
class Operation
{
public:
    Operation();
    ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    /** Ends a thread that is to be cancelled. */
    void offerCancellation();
    /**
     * Waits for events, with the lock free; a cancellation point. Returns their number, 0 when the
     * time is over or a signal came.
     */
    std::size_t wait(int epoll, std::span<epoll_event> events, int milliseconds);
    /** Waits, with the lock free; a cancellation point. */
    void pause(int milliseconds);

private:
    class Cancellable;

    int m_cancelState = PTHREAD_CANCEL_ENABLE;
    std::unique_lock<Lock> m_lock;
};

} // namespace Itc

#endif

#ifndef VARNIX_DBCSI_SERVER_SERVER_H
#define VARNIX_DBCSI_SERVER_SERVER_H

#include "fileDescriptor.h"
#include "service.h"
#include "settings.h"
#include "words.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Dbcsi {

/** The server cannot do its work: there are no mailboxes, or its name belongs to another. */
class ServerError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/**
 * The subscription server: a thread that owns the mailbox "DbcsiServer" and blocks in its receive.
 *
 * Its operations are for one other thread, which must own a mailbox: they leave a call for the
 * server's thread, wake it with a message and wait until it has made the call. So the service
 * belongs to that thread alone and needs no lock, and whatever a client is sent comes in order. The
 * message may be lost when the process runs out of something: the waiting thread sends another.
 */
class Server
{
public:
    /** Throws ServerError and JournalError. */
    explicit Server(const Settings& settings);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /** As Service::write. */
    std::vector<Receiver> write(const Words& words);

    std::vector<Connection> subscribers();
    std::size_t subscriberCount();

    /**
     * Has every subscriber answer once it has handled what it was sent before: its connection is
     * confirmed again, whereupon it subscribes again, and it handles its messages in order.
     */
    void askAll();
    std::size_t unansweredCount();

    /**
     * Can be read when the number of subscribers, or of those that have not answered, has changed
     * since clearChanges.
     */
    int changes() const noexcept { return m_changes.get(); }
    void clearChanges() const;

private:
    using Work = std::function<void()>;
    struct Call;

    enum class Start
    {
        PENDING,
        SERVED,
        REFUSED
    };

    void run();
    void receiveUntilEnd();
    void awaitCall();
    void runCall();
    void call(const Work& work);
    std::pair<std::size_t, std::size_t> counts() const;
    void signalChange(const std::pair<std::size_t, std::size_t>& countsBefore) const;

    /* The server's thread's own. */
    Service m_service;
    bool m_ending = false;
    bool m_reached = false; ///< a call's message has come; until then the thread looks by itself

    /* Guarded by m_mutex; each change is told. */
    std::mutex m_mutex;
    std::condition_variable m_told;
    Start m_start = Start::PENDING;
    Call* m_call = nullptr; ///< its caller's, who waits

    /* Fixed before the constructor returns. */
    FileDescriptor m_changes;
    std::uint32_t m_mailbox = ITC_NO_MBOX_ID;
    std::thread m_thread;
};

} // namespace Dbcsi

#endif

#include "server.h"

#include "complain.h"
#include "dbcsiMessages.h"
#include "exitStatus.h"

#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <utility>

#include <sys/eventfd.h>

namespace Dbcsi {
namespace {

/** From the operator's thread: there is a call to make. */
constexpr std::uint32_t callInd = 0x01707180;

/** How soon a message that was lost for want of something is sent again. */
constexpr std::chrono::milliseconds retryInterval{100};

/** How long the server's thread may be unreachable before the server gives up. */
constexpr std::chrono::seconds patience{2};

/**
 * Ends the process: the thread waits for memory or descriptors that do not come, and nobody can
 * tell it to end.
 */
[[noreturn]] void giveUp()
{
    std::cout.flush();
    complain("the server takes no command: memory or descriptors are used up");
    std::_Exit(static_cast<int>(ExitStatus::UNUSABLE));
}

} // namespace

/** What the operator's thread has the server's thread do; belongs to the first. */
struct Server::Call
{
    const Work& work;
    bool done = false;
    std::exception_ptr error = nullptr;
};

Server::Server(const Settings& settings)
    : m_service(settings), m_changes(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"),
      m_thread(&Server::run, this)
{
    std::unique_lock lock(m_mutex);
    m_told.wait(lock, [this] { return m_start != Start::PENDING; });
    if (m_start == Start::REFUSED) {
        lock.unlock();
        m_thread.join();
        throw ServerError(std::string("cannot own the mailbox \"") + serverMailboxName +
                          "\": another server runs, which has to end first, or mailboxes cannot be "
                          "used here");
    }
    lock.unlock();
    call([] {}); // opens the way for messages while there are descriptors
}

Server::~Server()
{
    call([this] { m_ending = true; });
    m_thread.join();
}

std::vector<Receiver> Server::write(const Words& words)
{
    std::vector<Receiver> result;
    call([&] { result = m_service.write(words); });
    return result;
}

std::vector<Connection> Server::subscribers()
{
    std::vector<Connection> result;
    call([&] { result = m_service.subscribers(); });
    return result;
}

std::size_t Server::subscriberCount()
{
    std::size_t result = 0;
    call([&] { result = m_service.connections().subscriberCount(); });
    return result;
}

void Server::askAll()
{
    call([this] { m_service.askAll(); });
}

std::size_t Server::unansweredCount()
{
    std::size_t result = 0;
    call([&] { result = m_service.connections().unansweredCount(); });
    return result;
}

void Server::clearChanges() const
{
    eventfd_t value = 0;
    ::eventfd_read(m_changes.get(), &value);
}

std::pair<std::size_t, std::size_t> Server::counts() const
{
    return {m_service.connections().subscriberCount(), m_service.connections().unansweredCount()};
}

void Server::signalChange(const std::pair<std::size_t, std::size_t>& countsBefore) const
{
    if (counts() != countsBefore)
        ::eventfd_write(m_changes.get(), 1);
}

void Server::run()
{
    m_mailbox = Mailbox::create(serverMailboxName);
    const bool owned = m_mailbox != ITC_NO_MBOX_ID;
    {
        const std::lock_guard lock(m_mutex);
        m_start = owned ? Start::SERVED : Start::REFUSED;
    }
    m_told.notify_all();
    if (owned)
        receiveUntilEnd();
}

void Server::receiveUntilEnd()
{
    while (!m_ending) {
        const Mailbox::Message message =
            Mailbox::receive(m_reached ? Mailbox::forever : retryInterval);
        if (!message) {
            awaitCall();
            runCall();
            continue;
        }
        try {
            const auto countsBefore = counts();
            if (message->msgno != callInd) {
                m_service.handle(message);
            } else {
                m_reached = true;
                runCall();
            }
            signalChange(countsBefore);
        } catch (const std::exception& error) {
            complain("a message could not be handled", reason(error));
        }
    }
}

/** For a receive that failed, which would otherwise be repeated at once and without end. */
void Server::awaitCall()
{
    std::unique_lock lock(m_mutex);
    m_told.wait_for(lock, retryInterval, [this] { return m_call != nullptr; });
}

void Server::runCall()
{
    {
        const std::lock_guard lock(m_mutex);
        Call* const called = std::exchange(m_call, nullptr);
        if (called == nullptr)
            return;
        try {
            called->work();
        } catch (...) {
            called->error = std::current_exception();
        }
        called->done = true;
    }
    m_told.notify_all();
}

void Server::call(const Work& work)
{
    Call made{work};
    std::unique_lock lock(m_mutex);
    m_call = &made;
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!made.done) {
        if (m_call == &made && std::chrono::steady_clock::now() > deadline)
            giveUp();
        lock.unlock();
        m_told.notify_all();
        Mailbox::wake(m_mailbox, callInd);
        lock.lock();
        m_told.wait_for(lock, retryInterval, [&] { return made.done; });
    }
    if (made.error)
        std::rethrow_exception(made.error);
}

} // namespace Dbcsi

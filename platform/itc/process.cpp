#include "process.h"

#include "itc.h"
#include "report.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include <poll.h>

namespace Itc {

namespace {

/** For what returns an error's number. */
void check(int error)
{
    if (error != 0)
        throw std::system_error(error, std::generic_category(), "cannot keep mailboxes");
}

} // namespace

Process& Process::instance()
{
    static Process* const process = new Process; // see the declaration
    return *process;
}

Process::Process()
{
    check(::pthread_key_create(&m_ownMailbox, &endThread));
    check(::pthread_atfork([] { instance().m_mutex.lock(); }, [] { instance().m_mutex.unlock(); },
                           [] {
                               instance().abandon();
                               instance().m_mutex.unlock();
                           }));
    check(std::atexit(&endProcess));
}

void Process::initialise(const char* file, int line)
{
    m_directory.emplace();
    try {
        m_directory->open();
    } catch (const std::exception& error) {
        if (!mayPass(error)) {
            m_directory.reset();
            throw;
        }
        reportOwed(file, line, error); // it is opened with the first mailbox
    }
}

Mailbox* Process::own() const noexcept
{
    return static_cast<Mailbox*>(::pthread_getspecific(m_ownMailbox));
}

Mailbox* Process::create(std::string_view name)
{
    if (!isInitialised() || own() != nullptr)
        return nullptr;
    auto made = std::make_unique<Mailbox>(name, *m_directory, m_links);
    if (!made->make())
        return nullptr;
    check(::pthread_setspecific(m_ownMailbox, made.get()));
    try {
        return m_mailboxes.emplace(made->id(), std::move(made)).first->second.get();
    } catch (...) {
        ::pthread_setspecific(m_ownMailbox, nullptr);
        throw;
    }
}

std::uint32_t Process::resolve(std::uint32_t id) const noexcept
{
    if (id != ITC_MY_MBOX_ID)
        return id;
    const Mailbox* const mine = own();
    return mine != nullptr ? mine->id() : ITC_NO_MBOX_ID;
}

std::shared_ptr<Link> Process::link(std::uint32_t mailbox)
{
    return isInitialised() ? m_links.inAnyState(mailbox, *m_directory) : nullptr;
}

void Process::flush() noexcept
{
    if (m_links.retry().isDue())
        m_links.flush(*m_directory);
}

void Process::endOwn()
{
    if (const Mailbox* const mine = own()) {
        ::pthread_setspecific(m_ownMailbox, nullptr);
        m_mailboxes.erase(mine->id());
    }
}

/** In the child of a fork: lets go of what is the parent's without touching it. */
void Process::abandon()
{
    ::pthread_setspecific(m_ownMailbox, nullptr);
    for (const auto& [id, mailbox] : m_mailboxes)
        mailbox->abandon();
    m_mailboxes.clear();
    m_links.clear();
    m_directory.reset();
}

void Process::endThread(void* mailbox)
{
    try {
        const Operation operation;
        instance().m_mailboxes.erase(static_cast<Mailbox*>(mailbox)->id());
    } catch (const std::exception& error) {
        report(nullptr, 0, error);
    }
}

/** Other threads may still be at work: what cannot be removed now, others remove. */
void Process::endProcess()
{
    Process& process = instance();
    const std::unique_lock<Lock> lock(process.m_mutex, std::try_to_lock);
    if (!lock)
        return;
    if (process.isInitialised())
        process.m_links.flush(*process.m_directory);
    if (const std::size_t kept = process.m_links.kept(); kept != 0)
        report(nullptr, 0,
               (std::to_string(kept) + (kept == 1 ? " message is" : " messages are") +
                " lost: the process ends before what was short for sending is there")
                   .c_str());
    for (const auto& [id, mailbox] : process.m_mailboxes)
        mailbox->removeEntries();
}

Operation::Operation()
{
    Process& process = Process::instance();
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState);
    m_lock = std::unique_lock<Lock>(process.mutex());
}

Operation::~Operation()
{
    if (m_lock)
        m_lock.unlock();
    ::pthread_setcancelstate(m_cancelState, nullptr);
}

/** While it lives, the thread is as open to cancellation as its caller left it. */
class Operation::Cancellable
{
public:
    explicit Cancellable(const Operation& operation)
    {
        ::pthread_setcancelstate(operation.m_cancelState, nullptr);
    }
    ~Cancellable() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); }
    Cancellable(const Cancellable&) = delete;
    Cancellable& operator=(const Cancellable&) = delete;
};

void Operation::offerCancellation()
{
    const Cancellable open(*this);
    ::pthread_testcancel();
}

std::size_t Operation::wait(int epoll, std::span<epoll_event> events, int milliseconds)
{
    m_lock.unlock();
    int count = 0;
    int error = 0;
    {
        const Cancellable open(*this);
        count = ::epoll_wait(epoll, events.data(), static_cast<int>(events.size()), milliseconds);
        error = errno;
    }
    m_lock.lock();
    if (count < 0 && error != EINTR)
        throw std::system_error(error, std::generic_category(), "cannot wait for messages");
    return static_cast<std::size_t>(std::max(count, 0));
}

void Operation::pause(int milliseconds)
{
    m_lock.unlock();
    {
        const Cancellable open(*this);
        ::poll(nullptr, 0, milliseconds);
    }
    m_lock.lock();
}

} // namespace Itc

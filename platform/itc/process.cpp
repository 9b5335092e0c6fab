#include "process.h"

#include "itc.h"
#include "report.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

namespace Itc {

namespace {

/** For what answers an error's number. */
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

void Process::initialise()
{
    Directory directory = Directory::open();
    directory.sweep();
    m_directory = std::move(directory);
}

Mailbox* Process::own() const noexcept
{
    return static_cast<Mailbox*>(::pthread_getspecific(m_ownMailbox));
}

Mailbox* Process::create(std::string_view name)
{
    if (!isInitialised() || own() != nullptr)
        return nullptr;
    auto endpoint = m_directory->create(name);
    if (!endpoint)
        return nullptr;
    const std::uint32_t id = endpoint->id;
    const std::string entry = std::move(endpoint->entry);
    try {
        auto made = std::make_unique<Mailbox>(entry, std::move(*endpoint), *m_directory, m_links);
        check(::pthread_setspecific(m_ownMailbox, made.get()));
        return m_mailboxes.emplace(id, std::move(made)).first->second.get();
    } catch (...) {
        ::pthread_setspecific(m_ownMailbox, nullptr);
        m_directory->remove(id, entry);
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
    return isInitialised() ? m_links.to(mailbox, *m_directory) : nullptr;
}

bool Process::send(const Frame& frame, std::uint32_t to)
{
    const std::shared_ptr<Link> way = link(to);
    if (!way)
        return false;
    const bool sent = way->send(frame);
    if (!sent)
        m_links.drop(to, way);
    return sent;
}

void Process::end(Mailbox& mailbox)
{
    m_directory->remove(mailbox.id(), mailbox.nameEntry());
    m_mailboxes.erase(mailbox.id());
}

/** In the child of a fork: lets go of what is the parent's without touching it. */
void Process::abandon()
{
    ::pthread_setspecific(m_ownMailbox, nullptr);
    m_mailboxes.clear();
    m_links.clear();
    m_directory.reset();
}

void Process::endThread(void* mailbox)
{
    try {
        const Operation operation;
        instance().end(*static_cast<Mailbox*>(mailbox));
    } catch (const std::exception& error) {
        report(nullptr, 0, error.what());
    }
}

/** Other threads may still be at work: what cannot be removed now, others will when they meet it.
 */
void Process::endProcess()
{
    Process& process = instance();
    const std::unique_lock<std::mutex> lock(process.m_mutex, std::try_to_lock);
    if (lock)
        for (const auto& [id, mailbox] : process.m_mailboxes)
            process.m_directory->remove(id, mailbox->nameEntry());
}

Operation::Operation()
{
    Process& process = Process::instance();
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState);
    m_lock = std::unique_lock<std::mutex>(process.mutex());
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

} // namespace Itc

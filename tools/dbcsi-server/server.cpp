#include "server.h"

#include "complain.h"
#include "dbcsiMessages.h"
#include "writeIndication.h"

#include <cstring>
#include <exception>
#include <iomanip>
#include <random>
#include <sstream>
#include <utility>

#include <sys/eventfd.h>

namespace Dbcsi {
namespace {

/* Messages that the server's own process sends. */
enum OwnMessageNumber : std::uint32_t
{
    CALL_IND = 0x01707180,       /* there is a call to make */
    CLIENT_DOWN_IND = 0x01707181 /* from the monitor; the connection's reference follows */
};
constexpr std::size_t clientDownReferenceOffset = 4;
constexpr std::size_t clientDownSize = 8;

/* How soon the server's thread finds a call whose message was lost. */
constexpr std::chrono::seconds lookInterval{1};

/** So that a reference of an earlier server is not mistaken for one of this. */
std::uint32_t firstReference()
{
    return std::random_device{}();
}

void complainOf(std::uint32_t mailbox, const std::string& text)
{
    std::ostringstream line;
    line << "mailbox 0x" << std::hex << std::setw(8) << std::setfill('0') << mailbox << ": "
         << text;
    complain(line.str().c_str());
}

void answer(std::uint32_t to, std::uint32_t number)
{
    Mailbox::send(Mailbox::allocate(sizeof(PlainAnswer), number), to);
}

Mailbox::Message confirmationOf(std::uint32_t reference)
{
    Mailbox::Message message =
        Mailbox::allocate(sizeof(ConnEstablishCfm), DBCSI_CONN_ESTABLISH_CFM);
    Mailbox::setWordAt(message, offsetof(ConnEstablishCfm, unused), 0);
    Mailbox::setWordAt(message, offsetof(ConnEstablishCfm, serverRef), reference);
    return message;
}

Mailbox::Message copyToMessage(const std::vector<std::byte>& bytes)
{
    Mailbox::Message message = Mailbox::allocate(bytes.size(), DBCSI_DBWRITE_IND);
    std::memcpy(message.get(), bytes.data(), bytes.size());
    return message;
}

} // namespace

/** What the operator's thread has the server's thread do; belongs to the first. */
struct Server::Call
{
    const Work& work;
    bool done = false;
    std::exception_ptr error = nullptr;
};

Server::Server(Refusals refusals)
    : m_refusals(refusals), m_connections(firstReference()),
      m_changes(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"), m_thread(&Server::run, this)
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
}

Server::~Server()
{
    call([this] { m_ending = true; });
    m_thread.join();
}

std::size_t Server::write(const Words& words)
{
    const std::vector<std::byte> indication = encodeWriteIndication(words);
    std::size_t sent = 0;
    call([&] { sent = writeToAll(indication); });
    return sent;
}

std::vector<Connection> Server::subscribers()
{
    std::vector<Connection> result;
    call([&] { result = m_connections.subscribers(); });
    return result;
}

std::size_t Server::subscriberCount()
{
    std::size_t result = 0;
    call([&] { result = m_connections.subscriberCount(); });
    return result;
}

void Server::askAll()
{
    call([this] {
        m_connections.askAll([](std::uint32_t mailbox, std::uint32_t reference) {
            Mailbox::send(confirmationOf(reference), mailbox);
        });
    });
}

std::size_t Server::unansweredCount()
{
    std::size_t result = 0;
    call([&] { result = m_connections.unansweredCount(); });
    return result;
}

void Server::clearChanges() const
{
    eventfd_t value = 0;
    ::eventfd_read(m_changes.get(), &value);
}

std::pair<std::size_t, std::size_t> Server::counts() const
{
    return {m_connections.subscriberCount(), m_connections.unansweredCount()};
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
        const auto nextLook = std::chrono::steady_clock::now() + lookInterval;
        const Mailbox::Message message = Mailbox::receive(lookInterval);
        if (!message) {
            awaitCall(nextLook);
            runCall();
            continue;
        }
        try {
            const auto countsBefore = counts();
            handle(message);
            signalChange(countsBefore);
        } catch (const std::exception& error) {
            complain("a message could not be handled", reason(error));
        }
    }
}

/** For a receive that failed at once, which would otherwise be repeated without end. */
void Server::awaitCall(std::chrono::steady_clock::time_point until)
{
    std::unique_lock lock(m_mutex);
    m_told.wait_until(lock, until, [this] { return m_call != nullptr; });
}

void Server::handle(const Mailbox::Message& message)
{
    switch (message->msgno) {
    case DBCSI_CONN_ESTABLISH_REQ:
        handleConnect(message);
        break;
    case DBCSI_SUBSCRIBE_REQ:
        handleSubscribe(message);
        break;
    case CLIENT_DOWN_IND:
        m_connections.close(Mailbox::wordAt(message, clientDownReferenceOffset));
        break;
    case CALL_IND:
        runCall();
        break;
    default:
        complainOf(Mailbox::senderOf(message), "a message of an unknown number is ignored");
    }
}

void Server::handleConnect(const Mailbox::Message& message)
{
    const std::uint32_t client = Mailbox::senderOf(message);
    if (m_refusals.connection) {
        answer(client, DBCSI_CONN_ESTABLISH_REJ);
        return;
    }
    // The words after the first version may not be there, so the first is the one that counts.
    const std::uint32_t count = Mailbox::wordAt(message, offsetof(ConnEstablishReq, versionCount));
    const std::uint32_t version =
        count == 0 ? 0 : Mailbox::wordAt(message, offsetof(ConnEstablishReq, versions));
    if (version != protocolVersion) {
        complainOf(client, "connection rejected: its protocol version is not known here");
        answer(client, DBCSI_CONN_ESTABLISH_REJ);
        return;
    }
    // First whatever may fail: no connection is left that nobody confirms or ends.
    Mailbox::Message down = Mailbox::allocate(clientDownSize, CLIENT_DOWN_IND);
    Mailbox::Message confirmation = confirmationOf(0);
    const std::uint32_t reference = m_connections.open(client, version);

    Mailbox::setWordAt(down, clientDownReferenceOffset, reference);
    Mailbox::monitor(client, std::move(down));
    Mailbox::setWordAt(confirmation, offsetof(ConnEstablishCfm, serverRef), reference);
    Mailbox::send(std::move(confirmation), client);
}

void Server::handleSubscribe(const Mailbox::Message& message)
{
    const std::uint32_t client = Mailbox::senderOf(message);
    if (m_refusals.subscription) {
        answer(client, DBCSI_SUBSCRIBE_REJ);
        return;
    }
    const std::uint32_t reference = Mailbox::wordAt(message, offsetof(SubscribeReq, serverRef));
    if (!m_connections.subscribe(client, reference)) {
        complainOf(client,
                   "subscription rejected: its server reference is not that of a connection");
        answer(client, DBCSI_SUBSCRIBE_REJ);
        return;
    }
    answer(client, DBCSI_SUBSCRIBE_CFM);
}

std::size_t Server::writeToAll(const std::vector<std::byte>& indication)
{
    // Tried first, so that a command that is too large goes to nobody, even where nobody listens.
    copyToMessage(indication);
    return m_connections.writeToAll(
        [&](std::uint32_t mailbox) { Mailbox::send(copyToMessage(indication), mailbox); });
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
    lock.unlock();
    m_told.notify_all();
    Mailbox::wake(m_mailbox, CALL_IND);
    lock.lock();
    m_told.wait(lock, [&] { return made.done; });
    if (made.error)
        std::rethrow_exception(made.error);
}

} // namespace Dbcsi

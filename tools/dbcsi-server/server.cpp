#include "server.h"

#include "complain.h"
#include "dbcsiMessages.h"
#include "writeIndication.h"

#include <sys/eventfd.h>

#include <cstring>
#include <iomanip>
#include <random>
#include <sstream>
#include <utility>

namespace Dbcsi {
namespace {

/* Messages that the server's own process sends. */
enum OwnMessageNumber : std::uint32_t
{
    CALL_IND = 0x01707180,       /* there are calls in the queue */
    CLIENT_DOWN_IND = 0x01707181 /* from the monitor; the connection's reference follows */
};
constexpr std::size_t clientDownReferenceOffset = 4;
constexpr std::size_t clientDownSize = 8;

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
    complain(line.str());
}

void answer(std::uint32_t to, std::uint32_t number)
{
    Mailbox::send(Mailbox::allocate(sizeof(PlainAnswer), number), to);
}

Mailbox::Message copyToMessage(const std::vector<std::byte>& bytes)
{
    Mailbox::Message message = Mailbox::allocate(bytes.size(), DBCSI_DBWRITE_IND);
    std::memcpy(message.get(), bytes.data(), bytes.size());
    return message;
}

} // namespace

Server::Server(Refusals refusals)
    : m_refusals(refusals), m_connections(firstReference()),
      m_changes(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")
{
    std::promise<void> started;
    std::future<void> start = started.get_future();
    m_thread = std::thread(&Server::run, this, std::move(started));
    try {
        start.get();
    } catch (...) {
        m_thread.join();
        throw;
    }
}

Server::~Server()
{
    try {
        call(std::packaged_task<void()>([this] { m_ending = true; }));
    } catch (const std::exception& error) {
        complain(error.what());
    }
    m_thread.join();
}

std::size_t Server::write(const Words& words)
{
    const std::vector<std::byte> indication = encodeWriteIndication(words);
    std::size_t sent = 0;
    call(std::packaged_task<void()>([&] { sent = writeToAll(indication); }));
    return sent;
}

std::vector<Connection> Server::subscribers()
{
    std::vector<Connection> result;
    call(std::packaged_task<void()>([&] { result = m_connections.subscribers(); }));
    return result;
}

std::size_t Server::subscriberCount()
{
    std::size_t result = 0;
    call(std::packaged_task<void()>([&] { result = m_connections.subscriberCount(); }));
    return result;
}

void Server::clearChanges() const
{
    eventfd_t value = 0;
    ::eventfd_read(m_changes.get(), &value);
}

void Server::signalChange(std::size_t countBefore) const
{
    if (m_connections.subscriberCount() != countBefore) {
        ::eventfd_write(m_changes.get(), 1);
    }
}

void Server::run(std::promise<void> started)
{
    m_mailbox = Mailbox::create(serverMailboxName);
    if (m_mailbox == ITC_NO_MBOX_ID) {
        started.set_exception(std::make_exception_ptr(
            ServerError(std::string("cannot own the mailbox \"") + serverMailboxName +
                        "\": another server runs, or mailboxes cannot be used here")));
        return;
    }
    started.set_value();
    receiveUntilEnd();
    refuseCalls();
}

void Server::receiveUntilEnd()
{
    while (!m_ending) {
        const Mailbox::Message message = Mailbox::receive();
        if (!message) {
            complain("no more messages can be received");
            return;
        }
        try {
            const std::size_t countBefore = m_connections.subscriberCount();
            handle(message);
            signalChange(countBefore);
        } catch (const std::exception& error) {
            complain(std::string("a message could not be handled: ") + error.what());
        }
    }
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
        runCalls();
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
    const std::uint32_t reference = m_connections.open(client, version);

    Mailbox::Message down = Mailbox::allocate(clientDownSize, CLIENT_DOWN_IND);
    Mailbox::setWordAt(down, clientDownReferenceOffset, reference);
    Mailbox::monitor(client, std::move(down));

    Mailbox::Message confirmation =
        Mailbox::allocate(sizeof(ConnEstablishCfm), DBCSI_CONN_ESTABLISH_CFM);
    Mailbox::setWordAt(confirmation, offsetof(ConnEstablishCfm, unused), 0);
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

void Server::runCalls()
{
    std::deque<std::packaged_task<void()>> calls;
    {
        const std::lock_guard lock(m_callsMutex);
        calls.swap(m_calls);
    }
    for (std::packaged_task<void()>& task : calls) {
        task();
    }
}

void Server::call(std::packaged_task<void()> task)
{
    std::future<void> done = task.get_future();
    {
        const std::lock_guard lock(m_callsMutex);
        if (!m_takesCalls) {
            throw ServerError("the server's thread has ended");
        }
        m_calls.push_back(std::move(task));
    }
    Mailbox::send(Mailbox::allocate(sizeof(PlainAnswer), CALL_IND), m_mailbox);
    done.get();
}

void Server::refuseCalls()
{
    const std::lock_guard lock(m_callsMutex);
    m_takesCalls = false;
    m_calls.clear();
}

} // namespace Dbcsi

#include "service.h"

#include "commands.h"
#include "complain.h"
#include "dbcsiMessages.h"
#include "packet.h"
#include "writeIndication.h"

#include <algorithm>
#include <exception>
#include <random>
#include <span>
#include <string>
#include <utility>

namespace Dbcsi {
namespace {

/** From the monitor; the connection's reference follows. */
constexpr std::uint32_t clientDownInd = 0x01707181;
constexpr std::size_t clientDownReferenceOffset = 4;
constexpr std::size_t clientDownSize = 8;

/** As many replayed writes as a server that is killed may leave in doubt. */
constexpr std::size_t replayedAtOnce = 16;

/** So that a reference of an earlier server is not mistaken for one of this. */
std::uint32_t firstReference()
{
    return std::random_device{}();
}

void complainOf(std::uint32_t mailbox, const std::string& text)
{
    complain(("mailbox " + Mailbox::idText(mailbox) + ": " + text).c_str());
}

void complainOf(const ProcessInfo& process, const std::string& text)
{
    complain((process.text() + ' ' + text).c_str());
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

/** Sends a copy; false where it cannot be handed over or there is no memory for it. */
bool sendCopy(std::span<const std::byte> bytes, std::uint32_t to)
{
    try {
        return Mailbox::send(Mailbox::fromBytes(bytes), to);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/** Whether a connection request, whatever it counts, offers the version that is spoken here. */
bool offersOurVersion(const Mailbox::Message& request)
{
    PacketReader reader(Mailbox::bytesOf(request));
    try {
        reader.word(); // its number, and two that say nothing
        reader.word();
        reader.word();
        for (std::uint32_t left = reader.word(); left > 0; --left)
            if (reader.word() == protocolVersion)
                return true;
    } catch (const MalformedMessage&) {
        // It counts versions that are not there.
    }
    return false;
}

Receiver receiverOf(const Connection& connection, ControlOutcome outcome)
{
    return {connection.process.id.process,
            connection.process.id.startTime,
            connection.writes,
            outcome,
            connection.process.command,
            connection.reference,
            connection.allWrites};
}

/** Why words that another process hands over are no line of an operator; empty where they are. */
std::string faultOf(const Words& words)
{
    if (words.size() < fewestUsefulWords)
        return "a write has at least 4 words";
    if (Commands::isOwn(words.front()))
        return "a write does not begin with \"" + words.front() + "\", a command of the server";
    const bool breaks = std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return word.find('\n') != std::string::npos;
    });
    return breaks ? "a word holds a line break" : "";
}

} // namespace

Service::Service(const Settings& settings) : m_settings(settings), m_connections(firstReference())
{
    if (!settings.journal.empty())
        m_journal.emplace(settings.journal);
}

void Service::handle(const Mailbox::Message& message)
{
    switch (message->msgno) {
    case DBCSI_CONN_ESTABLISH_REQ:
        handleConnect(message);
        break;
    case DBCSI_SUBSCRIBE_REQ:
        handleSubscribe(message);
        break;
    case DBCSI_CONTROL_WRITE_REQ:
        handleControl(message);
        break;
    case clientDownInd:
        m_connections.close(Mailbox::wordAt(message, clientDownReferenceOffset));
        break;
    default:
        complainOf(Mailbox::senderOf(message), "a message of an unknown number is ignored");
    }
}

void Service::handleConnect(const Mailbox::Message& message)
{
    const std::uint32_t client = Mailbox::senderOf(message);
    if (m_settings.rejectConnection) {
        answer(client, DBCSI_CONN_ESTABLISH_REJ);
        return;
    }
    if (!offersOurVersion(message)) {
        complainOf(client, "connection rejected: its protocol version is not known here");
        answer(client, DBCSI_CONN_ESTABLISH_REJ);
        return;
    }
    const auto peer = Mailbox::peerOf(client);
    const ProcessInfo process = peer ? processInfo(peer->process, client) : ProcessInfo{};
    // First whatever may fail: no connection is left that nobody confirms or ends.
    Mailbox::Message down = Mailbox::allocate(clientDownSize, clientDownInd);
    Mailbox::Message confirmation = confirmationOf(0);
    const std::uint32_t reference = m_connections.open(client, process);

    Mailbox::setWordAt(down, clientDownReferenceOffset, reference);
    Mailbox::monitor(client, std::move(down));
    Mailbox::setWordAt(confirmation, offsetof(ConnEstablishCfm, serverRef), reference);
    if (!Mailbox::send(std::move(confirmation), client))
        complainOf(process, "cannot be sent its connection's confirmation");
}

void Service::handleSubscribe(const Mailbox::Message& message)
{
    const std::uint32_t client = Mailbox::senderOf(message);
    if (m_settings.rejectSubscription) {
        answer(client, DBCSI_SUBSCRIBE_REJ);
        return;
    }
    const std::uint32_t reference = Mailbox::wordAt(message, offsetof(SubscribeReq, serverRef));
    // First whatever may fail: no subscriber is left that nobody confirms.
    Mailbox::Message confirmation = Mailbox::allocate(sizeof(PlainAnswer), DBCSI_SUBSCRIBE_CFM);
    Connection* const connection = m_connections.subscribe(client, reference);
    if (connection == nullptr) {
        complainOf(client,
                   "subscription rejected: its server reference is not that of a connection");
        answer(client, DBCSI_SUBSCRIBE_REJ);
        return;
    }
    if (!Mailbox::send(std::move(confirmation), client))
        complainOf(connection->process, "cannot be sent its subscription's confirmation");
    if (m_settings.replay && m_journal && !std::exchange(connection->level, true))
        replay(*connection);
}

/** Sends a new subscriber the writes that its process has not had. */
void Service::replay(Connection& connection)
{
    if (!connection.process.id.isKnown()) {
        complainOf(connection.process, "is sent no earlier writes: its start time is not known");
        return;
    }
    const std::vector<Words> missing = m_journal->missing(connection.process.id);
    std::size_t sent = 0;
    try {
        sent = sendMissing(connection, missing);
    } catch (const JournalError& error) {
        complain(error.what());
    }
    // One that was dropped is sent the rest when it subscribes again.
    if (connection.subscribed && sent < missing.size())
        complainOf(connection.process, "could not be sent " +
                                           std::to_string(missing.size() - sent) + " of " +
                                           std::to_string(missing.size()) + " earlier writes");
}

std::size_t Service::sendMissing(Connection& connection, const std::vector<Words>& missing)
{
    std::size_t sent = 0;
    bool reached = true;
    while (reached && sent < missing.size()) {
        const std::size_t count = std::min(replayedAtOnce, missing.size() - sent);
        m_journal->beginReplay(connection.process, count);
        std::size_t done = 0;
        while (reached && done < count) {
            // The first is sent whatever waits, so that each subscription brings it further.
            reached = (sent + done == 0 || !dropIfOverfull(connection)) &&
                      sendCopy(encodeWriteIndication(missing[sent + done]), connection.mailbox);
            done += reached ? 1 : 0;
        }
        m_journal->endReplay(done);
        Connections::countWrites(connection, done);
        sent += done;
    }
    return sent;
}

std::vector<Receiver> Service::write(const Words& words)
{
    const std::vector<std::byte> indication = encodeWriteIndication(words);
    // Tried first, so that a command that is too large goes to nobody, even where nobody listens.
    Mailbox::fromBytes(indication);
    std::vector<Receiver> receivers = dropOverfull();
    std::vector<ProcessInfo> processes;
    std::size_t next = receivers.size();
    m_connections.forEachSubscriber([&](const Connection& connection) {
        processes.push_back(connection.process);
        receivers.push_back(receiverOf(connection, ControlOutcome::NOT_SENT));
    });
    std::vector<ProcessId> unreached;
    unreached.reserve(processes.size());

    if (m_journal)
        m_journal->begin(words, processes);
    m_connections.forEachSubscriber([&](Connection& connection) {
        Receiver& receiver = receivers[next++];
        if (sendCopy(indication, connection.mailbox)) {
            Connections::countWrites(connection, 1);
            receiver = receiverOf(connection, ControlOutcome::SENT);
        } else {
            unreached.push_back(connection.process.id);
        }
    });
    if (m_journal)
        m_journal->end(unreached);
    return receivers;
}

std::vector<Receiver> Service::dropOverfull()
{
    std::vector<Receiver> dropped;
    m_connections.forEachSubscriber([&](Connection& connection) {
        dropped.push_back(receiverOf(connection, ControlOutcome::DROPPED));
        if (!dropIfOverfull(connection))
            dropped.pop_back();
    });
    return dropped;
}

/**
 * A subscriber that reads nothing must not fill the memory. It is asked to subscribe again behind
 * all that waits for it: one that goes on reading is a subscriber again when it has caught up.
 */
bool Service::dropIfOverfull(Connection& connection) const
{
    const auto peer = Mailbox::peerOf(connection.mailbox);
    if (!peer || peer->waiting <= m_settings.queueLimit)
        return false;
    Mailbox::Message again = confirmationOf(connection.reference);
    Connections::unsubscribe(connection);
    Mailbox::send(std::move(again), connection.mailbox);
    complainOf(connection.process, "is dropped: " + std::to_string(peer->waiting) +
                                       " bytes wait for it, more than " +
                                       std::to_string(m_settings.queueLimit));
    return true;
}

void Service::askAll()
{
    m_connections.askAll([](std::uint32_t mailbox, std::uint32_t reference) {
        Mailbox::send(confirmationOf(reference), mailbox);
    });
}

std::vector<Connection> Service::subscribers()
{
    m_connections.forEachSubscriber([](Connection& connection) {
        const auto peer = Mailbox::peerOf(connection.mailbox);
        connection.waiting = peer ? peer->waiting : 0;
    });
    return m_connections.subscribers();
}

void Service::handleControl(const Mailbox::Message& message)
{
    if (!sendCopy(controlAnswer(message), Mailbox::senderOf(message)))
        complainOf(Mailbox::senderOf(message), "the answer to its request could not be sent");
}

/** What the words handed over came to, once they have been sent or refused. */
std::vector<std::byte> Service::controlAnswer(const Mailbox::Message& message)
{
    const std::uint32_t reference = Mailbox::wordAt(message, 2 * sizeof(std::uint32_t));
    const auto refuse = [reference](ControlRefusal refusal, const std::string& text) {
        return encode(WriteRejection{reference, refusal, text});
    };
    try {
        const WriteRequest request = decodeRequest(Mailbox::bytesOf(message));
        if (request.version != controlVersion)
            return refuse(ControlRefusal::VERSION,
                          "the server does not know this request's version");
        if (const std::string fault = faultOf(request.words); !fault.empty())
            return refuse(ControlRefusal::INVALID, fault);
        return encode(WriteConfirmation{reference, write(request.words)});
    } catch (const MalformedMessage&) {
        return refuse(ControlRefusal::INVALID, "the request is malformed");
    } catch (const Mailbox::TooLarge& error) {
        return refuse(ControlRefusal::INVALID, error.what());
    } catch (const JournalError& error) {
        return refuse(ControlRefusal::JOURNAL, error.what());
    } catch (const std::bad_alloc&) {
        return refuse(ControlRefusal::EXHAUSTED, "the server is out of memory");
    }
}

} // namespace Dbcsi

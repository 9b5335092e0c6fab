#include "itc_communication.h"

#include "dbRegistryImpl.h"
#include "itcMessage.h"
#include "publication.h"
#include "trace.h"
#include "writeIndication.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include <dbcsiMessages.h>
#include <pthread.h>
#include <unistd.h>

namespace Varnix::Backend {

namespace {

using namespace Dbcsi;

/** Reads the 32-bit field at `offset` of a message. */
std::uint32_t field(const itc_msg* message, std::size_t offset) noexcept
{
    std::uint32_t value = 0;
    std::memcpy(&value, reinterpret_cast<const char*>(message) + offset, sizeof value);
    return value;
}

void setField(itc_msg* message, std::size_t offset, std::uint32_t value) noexcept
{
    std::memcpy(reinterpret_cast<char*>(message) + offset, &value, sizeof value);
}

void send(ItcMessage message, std::uint32_t receiver)
{
    itc_msg* raw = message.release();
    __itc_send(&raw, receiver, ITC_MY_MBOX_ID, "", 0);
}

/** Lets a cancellation take effect inside its scope; everywhere else the thread holds it back. */
class Cancellable
{
public:
    Cancellable() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr); }
    ~Cancellable() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); }
    Cancellable(const Cancellable&) = delete;
    Cancellable& operator=(const Cancellable&) = delete;
};

/** How long the thread sleeps when memory has run out, before it asks for it again. */
constexpr timespec memoryPause = {.tv_sec = 0, .tv_nsec = 100'000'000};

void waitForMemory()
{
    const Cancellable cancellable;
    nanosleep(&memoryPause, nullptr);
}

/** Waits until there is memory for it: without the message the channel would come to nothing. */
ItcMessage allocate(std::size_t size, MessageNumber number)
{
    for (;;) {
        ItcMessage message(__itc_alloc(size, number, "", 0));
        if (message)
            return message;
        waitForMemory();
    }
}

/** After a call that failed: for want of memory it may be tried again, for another cause not. */
void throwIfMemoryWasShort()
{
    if (errno == ENOMEM)
        throw std::bad_alloc();
}

ItcMessage receive()
{
    const Cancellable cancellable;
    return ItcMessage(__itc_receive(nullptr, ITC_NO_TMO, ITC_FROM_ALL, "", 0));
}

/**
 * Held while a write is applied, which may trace. A fork waits for it, but not for long: a child
 * hangs at its end when it was forked inside the tracer, which LTTng's own library for forks
 * prevents where it is loaded, while a write may wait for the read that the forking handler
 * interrupted.
 */
std::mutex writing;
[[gnu::tls_model("initial-exec")]] constinit thread_local bool forkHoldsWriting = false;

void holdWritesBriefly()
{
    constexpr int tries = 100;
    constexpr timespec pause = {.tv_sec = 0, .tv_nsec = 1'000'000};
    for (int i = 0; i < tries && !forkHoldsWriting; ++i) {
        forkHoldsWriting = writing.try_lock();
        if (!forkHoldsWriting)
            nanosleep(&pause, nullptr);
    }
}

void letWritesGoOn()
{
    if (forkHoldsWriting)
        writing.unlock();
    forkHoldsWriting = false;
}

void forgetWrites()
{
    forkHoldsWriting = false;
    std::construct_at(&writing);
}

[[maybe_unused]] const int forkHandlers =
    pthread_atfork(holdWritesBriefly, letWritesGoOn, forgetWrites);

/** The `argc` strings of a write indication. */
std::vector<std::string> wordsOf(const itc_msg* message, std::int32_t argc)
{
    std::vector<std::string> words;
    const char* word = reinterpret_cast<const char*>(message) + dbWriteIndArgvOffset;
    for (std::int32_t i = 0; i < argc; ++i) {
        words.emplace_back(word);
        word += words.back().size() + 1;
    }
    return words;
}

/** Hands a request to the operation that carries it out. */
struct Apply
{
    void operator()(const WriteIndication::SetText& request) const
    {
        m_registry.updateDbs(request.key, request.value, request.append);
    }
    void operator()(const WriteIndication::WriteList& request) const
    {
        m_registry.updateDbs(request.key, request.values, request.index);
    }
    void operator()(const WriteIndication::Repeat& request) const
    {
        m_registry.updateDbs(request.key, request.value, request.index, request.count);
    }
    void operator()(const WriteIndication::Rejected& request) const
    {
        Trace::error([&] { return WriteIndication::describe(request); });
    }

    DbRegistryImpl& m_registry;
};

} // namespace

Itc_communication::Itc_communication() : m_protocolVersions{protocolVersion} {}

void Itc_communication::locate_server()
{
    m_subscribed = false;
    Publication::setSubscription(Inspection::Subscription::LOCATING);
    itc_msg* message = allocate(sizeof(std::uint32_t), DBCSI_LOCATE_IND).release();
    __itc_locate_async(serverMailboxName, &message, ITC_MY_MBOX_ID, "", 0);
}

void Itc_communication::establish_Connection(itc_msg* locateReply)
{
    m_serverMailbox = __itc_sender(locateReply, "", 0);
    Publication::setSubscription(Inspection::Subscription::CONNECTING);
    itc_msg* down = allocate(sizeof(ServerDownInd), DBCSI_SERVER_DOWN_IND).release();
    __itc_monitor(m_serverMailbox, &down, "", 0);

    const std::size_t versions = m_protocolVersions.size();
    ItcMessage request = allocate(connEstablishReqSize(versions), DBCSI_CONN_ESTABLISH_REQ);
    setField(request.get(), offsetof(ConnEstablishReq, one), 1);
    setField(request.get(), offsetof(ConnEstablishReq, alsoOne), 1);
    setField(request.get(), offsetof(ConnEstablishReq, versionCount),
             static_cast<std::uint32_t>(versions));
    std::copy_n(reinterpret_cast<const char*>(m_protocolVersions.data()),
                versions * sizeof(std::uint32_t),
                reinterpret_cast<char*>(request.get()) + offsetof(ConnEstablishReq, versions));
    send(std::move(request), m_serverMailbox);
}

void Itc_communication::subscribe()
{
    ItcMessage request = allocate(sizeof(SubscribeReq), DBCSI_SUBSCRIBE_REQ);
    setField(request.get(), offsetof(SubscribeReq, one), 1);
    setField(request.get(), offsetof(SubscribeReq, serverRef), m_serverRef);
    send(std::move(request), m_serverMailbox);
}

bool Itc_communication::handleMsg(DbRegistryImpl* registry, itc_msg* message)
{
    if (message == nullptr) {
        Trace::error([] {
            return "\nITC message reception failure, can not receive notification messages.";
        });
        return true;
    }
    switch (message->msgno) {
    case DBCSI_LOCATE_IND:
        establish_Connection(message);
        return false;
    case DBCSI_CONN_ESTABLISH_CFM:
        m_serverRef = field(message, offsetof(ConnEstablishCfm, serverRef));
        Publication::setSubscription(Inspection::Subscription::SUBSCRIBING);
        subscribe();
        return false;
    case DBCSI_CONN_ESTABLISH_REJ:
        Trace::error([] {
            return "\nConnection establishment failed. The COLI subscription server did not accept "
                   "the connection.";
        });
        return true;
    case DBCSI_SUBSCRIBE_CFM:
        m_subscribed = true;
        Publication::subscribed(m_serverRef);
        return false;
    case DBCSI_SUBSCRIBE_REJ:
        m_subscribed = false;
        Trace::error([] {
            return "\nSubscription to db updates failed. The COLI subscription server did not "
                   "accept the subscription.";
        });
        return true;
    case DBCSI_SERVER_DOWN_IND:
        Trace::info([] {
            return "\nServer mailbox is not responding, trying to re-establish connection.";
        });
        locate_server();
        return false;
    case DBCSI_DBWRITE_IND:
        handleWriteInd(*registry, message);
        return false;
    default:
        Trace::error([&] {
            return Trace::text("\nInvalid message received: message number: ", message->msgno);
        });
        return false;
    }
}

void Itc_communication::handleWriteInd(DbRegistryImpl& registry, const itc_msg* message) const
{
    if (!m_subscribed) {
        Trace::error(
            [] { return "\nITC message DBCSI_DBWRITE_IND received without subscribing."; });
        return;
    }
    const auto argc = static_cast<std::int32_t>(field(message, offsetof(DbWriteInd, argc)));
    if (argc <= 3) {
        Trace::error(
            [&] { return Trace::text("\nInvalid DBCSI_DBWRITE_IND received, argc: ", argc); });
        return;
    }
    const std::lock_guard lock(writing);
    std::visit(Apply{registry}, WriteIndication::parse(wordsOf(message, argc)));
}

bool Itc_communication::createMailbox()
{
    const std::string name = subscriberMailboxPrefix + std::to_string(getpid());
    errno = 0;
    m_mailbox = __itc_create_mailbox(name.c_str(), 0, "", 0);
    if (m_mailbox == ITC_NO_MBOX_ID) {
        throwIfMemoryWasShort();
        Trace::error([] { return "\nFailed to create mailbox for db change notifications."; });
        return false;
    }
    return true;
}

bool Itc_communication::handleOrReport(DbRegistryImpl& registry, itc_msg* message)
{
    bool stops = false;
    try {
        stops = handleMsg(&registry, message);
    } catch (const std::exception& e) { // nobody above could handle it; the next message can
        Trace::error([&] { return WriteIndication::describeUnhandled(e.what()); });
    }
    if (message != nullptr && message->msgno == DBCSI_DBWRITE_IND)
        Publication::countHandled();
    return stops;
}

void Itc_communication::receiveMessages(DbRegistryImpl& registry)
{
    for (;;) {
        ItcMessage message = receive();
        if (handleOrReport(registry, message.get())) {
            static_cast<void>(message.release()); // the message that ends the loop is not freed
            return;
        }
    }
}

void Itc_communication::run(DbRegistryImpl& registry)
{
    errno = 0;
    const int initialised = __itc_init(1, 0, nullptr, nullptr, 0, "", 0);
    if (initialised == 0 || initialised == ITC_ALREADY_INITIALISED) {
        if (!createMailbox())
            return;
        locate_server();
    } else {
        throwIfMemoryWasShort();
    }
    receiveMessages(registry);
}

void* Itc_communication::dbSubscription(void* registry)
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    for (;;) {
        try {
            Itc_communication channel;
            channel.run(*static_cast<DbRegistryImpl*>(registry));
            Publication::setSubscription(Inspection::Subscription::STOPPED);
            return nullptr;
        } catch (const std::bad_alloc&) { // there is no mailbox yet: nothing is lost
            waitForMemory();
        }
    }
}

} // namespace Varnix::Backend

#include "subscriptionServer.h"

#include "tests/support/waitUntil.h"

#include <cstring>
#include <stdexcept>

#include <itc.h>

namespace Varnix::Test {

namespace {

using namespace Dbcsi;

const auto patienceInMilliseconds =
    static_cast<std::uint32_t>(std::chrono::milliseconds(patience).count());

/** Delivered when a subscriber's mailbox goes. */
constexpr std::uint32_t subscriberGone = 1;

itc_msg* allocate(const Bytes& bytes)
{
    itc_msg* const message = __itc_alloc(bytes.size(), 0, "", 0);
    if (message == nullptr)
        throw std::runtime_error("no memory for a message");
    std::memcpy(static_cast<void*>(message), bytes.data(), bytes.size());
    return message;
}

} // namespace

SubscriptionServer::SubscriptionServer()
{
    const int initialised = __itc_init(1, 0, nullptr, nullptr, 0, "", 0);
    if (initialised != 0 && initialised != ITC_ALREADY_INITIALISED)
        throw std::runtime_error("the mailbox library cannot be used");
    if (__itc_create_mailbox(serverMailboxName, 0, "", 0) == ITC_NO_MBOX_ID)
        throw std::runtime_error("the server's mailbox cannot be created");
}

std::optional<SubscriptionServer::Received> SubscriptionServer::receive(std::uint32_t milliseconds)
{
    itc_msg* message = __itc_receive(nullptr, milliseconds, ITC_FROM_ALL, "", 0);
    if (message == nullptr)
        return std::nullopt;
    const Received received{message->msgno, __itc_sender(message, "", 0)};
    __itc_free(&message, "", 0);
    return received;
}

void SubscriptionServer::send(std::uint32_t to, const Bytes& bytes)
{
    itc_msg* message = allocate(bytes);
    __itc_send(&message, to, ITC_MY_MBOX_ID, "", 0);
}

bool SubscriptionServer::serve(std::uint32_t milliseconds)
{
    const std::optional<Received> received = receive(milliseconds);
    if (!received)
        return false;
    switch (received->number) {
    case DBCSI_CONN_ESTABLISH_REQ:
        send(received->sender, bytesOf({DBCSI_CONN_ESTABLISH_CFM, 0, ++m_reference}));
        break;
    case DBCSI_SUBSCRIBE_REQ: {
        send(received->sender, bytesOf({DBCSI_SUBSCRIBE_CFM}));
        m_subscribers.push_back(received->sender);
        itc_msg* gone = allocate(bytesOf({subscriberGone}));
        __itc_monitor(received->sender, &gone, "", 0);
        break;
    }
    case subscriberGone:
        std::erase(m_subscribers, received->sender);
        break;
    default:
        break;
    }
    return true;
}

void SubscriptionServer::awaitSubscribers(std::size_t count)
{
    while (m_subscribers.size() < count)
        if (!serve(patienceInMilliseconds))
            throw std::runtime_error("the subscribers do not come");
}

void SubscriptionServer::write(const std::vector<std::string>& words) const
{
    for (const std::uint32_t subscriber : m_subscribers)
        send(subscriber, writeIndication(words));
}

} // namespace Varnix::Test

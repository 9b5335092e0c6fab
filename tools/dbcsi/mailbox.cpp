#include "mailbox.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <new>

namespace Dbcsi::Mailbox {

TooLarge::TooLarge(std::size_t size)
    : std::runtime_error("a message of " + std::to_string(size) + " bytes is too large: at most " +
                         std::to_string(largestMessage) + " can be sent")
{
}

void FreeMessage::operator()(itc_msg* message) const noexcept
{
    __itc_free(&message, __FILE__, __LINE__);
}

bool initialise(int mailboxes)
{
    const int result = __itc_init(mailboxes, 0, nullptr, nullptr, 0, __FILE__, __LINE__);
    return result == 0 || result == ITC_ALREADY_INITIALISED;
}

std::uint32_t create(const char* name)
{
    return __itc_create_mailbox(name, 0, __FILE__, __LINE__);
}

std::string idText(std::uint32_t mailbox)
{
    std::array<char, sizeof "0x01234567"> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "0x%08" PRIx32, mailbox));
    return text.data();
}

Message allocate(std::size_t size, std::uint32_t number)
{
    if (size > largestMessage)
        throw TooLarge(size);
    Message message(__itc_alloc(size, number, __FILE__, __LINE__));
    if (!message)
        throw std::bad_alloc();
    return message;
}

Message fromBytes(std::span<const std::byte> bytes)
{
    Message message = allocate(bytes.size(), 0);
    std::memcpy(message.get(), bytes.data(), bytes.size());
    return message;
}

bool send(Message message, std::uint32_t to)
{
    itc_msg* released = message.release();
    return __itc_host_send(&released, to, ITC_MY_MBOX_ID, __FILE__, __LINE__) == 1;
}

void wake(std::uint32_t mailbox, std::uint32_t number) noexcept
{
    itc_msg* message = __itc_alloc(sizeof number, number, __FILE__, __LINE__);
    if (message != nullptr)
        __itc_send(&message, mailbox, ITC_MY_MBOX_ID, __FILE__, __LINE__);
}

Message receive(std::chrono::milliseconds limit)
{
    return Message(__itc_receive(nullptr, static_cast<std::uint32_t>(limit.count()), ITC_FROM_ALL,
                                 __FILE__, __LINE__));
}

void locate(const char* name, Message message)
{
    itc_msg* released = message.release();
    __itc_locate_async(name, &released, ITC_MY_MBOX_ID, __FILE__, __LINE__);
}

std::uint32_t senderOf(const Message& message)
{
    return __itc_sender(message.get(), __FILE__, __LINE__);
}

void monitor(std::uint32_t mailbox, Message message)
{
    itc_msg* released = message.release();
    __itc_monitor(mailbox, &released, __FILE__, __LINE__);
}

std::optional<Peer> peerOf(std::uint32_t mailbox)
{
    itc_host_peer peer{};
    if (__itc_host_peer(mailbox, &peer, __FILE__, __LINE__) != 1)
        return std::nullopt;
    return Peer{peer.process, peer.waiting};
}

std::span<const std::byte> bytesOf(const Message& message) noexcept
{
    return {reinterpret_cast<const std::byte*>(message.get()), __itc_host_size(message.get())};
}

std::uint32_t wordAt(const Message& message, std::size_t offset) noexcept
{
    std::uint32_t value = 0;
    std::memcpy(&value, reinterpret_cast<const char*>(message.get()) + offset, sizeof value);
    return value;
}

void setWordAt(const Message& message, std::size_t offset, std::uint32_t value) noexcept
{
    std::memcpy(reinterpret_cast<char*>(message.get()) + offset, &value, sizeof value);
}

} // namespace Dbcsi::Mailbox

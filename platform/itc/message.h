#ifndef VARNIX_PLATFORM_ITC_MESSAGE_H
#define VARNIX_PLATFORM_ITC_MESSAGE_H

/** A message in memory: what is known of it, then the bytes that its holder sees. */

#include "itc.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Itc {

struct alignas(std::max_align_t) Message
{
    std::size_t size;
    std::uint32_t sender;
    std::uint32_t receiver = 0; ///< of one that waits to be sent
    Message* next = nullptr;    ///< after it in a queue

    /** The part that the interface hands out. */
    itc_msg* body() noexcept { return reinterpret_cast<itc_msg*>(this + 1); }
    std::span<const std::byte> bytes() const noexcept
    {
        return {reinterpret_cast<const std::byte*>(this + 1), size};
    }
    std::uint32_t number() noexcept { return body()->msgno; }

    /** The message whose body the interface handed out. */
    static Message& of(itc_msg* body) noexcept { return *(reinterpret_cast<Message*>(body) - 1); }
};

struct MessageDeleter
{
    void operator()(Message* message) const noexcept;
};

using MessagePtr = std::unique_ptr<Message, MessageDeleter>;

/** A message of `size` zero bytes; null when memory is exhausted. */
MessagePtr makeMessage(std::size_t size) noexcept;

/** Takes over the message that `*body` holds and sets it to null; null where it holds none. */
MessagePtr takeOver(itc_msg** body) noexcept;

/** Hands a message to the holder outside. */
itc_msg* handOut(MessagePtr message) noexcept;

} // namespace Itc

#endif

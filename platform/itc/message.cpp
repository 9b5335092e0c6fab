#include "message.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace Itc {

namespace {

/**
 * The interface does not tell a receiver how long a message is: whoever reads the fixed fields of a
 * message that is too short for them finds zeros. So does whoever reads what its sender never set.
 */
constexpr std::size_t fixedFields = 64;

} // namespace

void MessageDeleter::operator()(Message* message) const noexcept
{
    ::operator delete(message);
}

MessagePtr makeMessage(std::size_t size) noexcept
{
    if (size > PTRDIFF_MAX - sizeof(Message))
        return nullptr;
    const std::size_t room = std::max(size, fixedFields);
    void* const memory = ::operator new(sizeof(Message) + room, std::nothrow);
    if (memory == nullptr)
        return nullptr;
    MessagePtr message(new (memory) Message{size, ITC_NO_MBOX_ID});
    std::memset(message->body(), 0, room);
    return message;
}

MessagePtr takeOver(itc_msg** body) noexcept
{
    itc_msg* const taken = body != nullptr ? std::exchange(*body, nullptr) : nullptr;
    return MessagePtr(taken != nullptr ? &Message::of(taken) : nullptr);
}

itc_msg* handOut(MessagePtr message) noexcept
{
    return message ? message.release()->body() : nullptr;
}

} // namespace Itc

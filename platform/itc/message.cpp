#include "message.h"

#include <limits>
#include <new>
#include <utility>

namespace Itc {

void MessageDeleter::operator()(Message* message) const noexcept
{
    ::operator delete(message);
}

MessagePtr makeMessage(std::size_t size) noexcept
{
    if (size > std::numeric_limits<std::size_t>::max() - sizeof(Message)) {
        return nullptr;
    }
    void* const memory = ::operator new(sizeof(Message) + size, std::nothrow);
    if (memory == nullptr) {
        return nullptr;
    }
    return MessagePtr(new (memory) Message{size, ITC_NO_MBOX_ID});
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

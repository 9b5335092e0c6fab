#ifndef VARNIX_DBCSI_SERVER_MAILBOX_H
#define VARNIX_DBCSI_SERVER_MAILBOX_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include <itc.h>

/** The mailbox library, with messages that free themselves. Nothing else here calls it. */
namespace Dbcsi::Mailbox {

struct FreeMessage
{
    void operator()(itc_msg* message) const noexcept;
};
using Message = std::unique_ptr<itc_msg, FreeMessage>;

/** False when the process cannot use mailboxes. */
bool initialise(int mailboxes);

/** Creates the calling thread's mailbox. Answers ITC_NO_MBOX_ID when that cannot be. */
std::uint32_t create(const char* name);

/** The host's mailbox library drops a message of more bytes when it is sent. */
inline constexpr std::size_t largestMessage = std::size_t{1} << 20;

/** A message cannot be so large. */
class TooLarge : public std::runtime_error
{
public:
    explicit TooLarge(std::size_t size);
};

/** Throws TooLarge and std::bad_alloc. */
Message allocate(std::size_t size, std::uint32_t number);

/** From the calling thread's own mailbox. */
void send(Message message, std::uint32_t to);

/** Sends a message of nothing but its number where there is memory for one. */
void wake(std::uint32_t mailbox, std::uint32_t number) noexcept;

/** Waits for any message to the calling thread's mailbox; empty when none came or could. */
Message receive(std::chrono::milliseconds limit);

std::uint32_t senderOf(const Message& message);

/** Has `message` delivered to the calling thread's mailbox when `mailbox` goes. */
void monitor(std::uint32_t mailbox, Message message);

/** The word at a byte offset. A message does not tell its size: the caller knows it is there. */
std::uint32_t wordAt(const Message& message, std::size_t offset) noexcept;
void setWordAt(const Message& message, std::size_t offset, std::uint32_t value) noexcept;

} // namespace Dbcsi::Mailbox

#endif

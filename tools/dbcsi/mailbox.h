#ifndef VARNIX_DBCSI_MAILBOX_H
#define VARNIX_DBCSI_MAILBOX_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include <itcHost.h>

/** The host's mailbox library, with messages that free themselves. No other tool calls it. */
namespace Dbcsi::Mailbox {

struct FreeMessage
{
    void operator()(itc_msg* message) const noexcept;
};
using Message = std::unique_ptr<itc_msg, FreeMessage>;

/** False when the process cannot use mailboxes. */
bool initialise(int mailboxes);

/** Creates the calling thread's mailbox. Returns ITC_NO_MBOX_ID when that cannot be. */
std::uint32_t create(const char* name);

/** A mailbox's id as people read it. */
std::string idText(std::uint32_t mailbox);

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

/** A message of these bytes, at least its number. Throws as allocate does. */
Message fromBytes(std::span<const std::byte> bytes);

/**
 * From the calling thread's own mailbox. Returns whether the message waits for its receiver, who
 * will find it unless it ends first.
 */
bool send(Message message, std::uint32_t to);

/** Sends a message of nothing but its number where there is memory for one. */
void wake(std::uint32_t mailbox, std::uint32_t number) noexcept;

/** No limit, for receive. */
inline constexpr std::chrono::milliseconds forever{ITC_NO_TMO};

/** Waits for any message to the calling thread's mailbox; empty when none came or could. */
Message receive(std::chrono::milliseconds limit = forever);

/** Has `message` delivered to the calling thread's mailbox when a mailbox of that name exists. */
void locate(const char* name, Message message);

std::uint32_t senderOf(const Message& message);

/** Has `message` delivered to the calling thread's mailbox when `mailbox` goes. */
void monitor(std::uint32_t mailbox, Message message);

/** Who reads what is sent to a mailbox. */
struct Peer
{
    std::int32_t process;  ///< 0 where its id cannot be told
    std::uint64_t waiting; ///< bytes that it was sent and has not taken
};

/** None where the mailbox has gone or cannot be reached. */
std::optional<Peer> peerOf(std::uint32_t mailbox);

/** All of a message, its number included; valid as long as the message. */
std::span<const std::byte> bytesOf(const Message& message) noexcept;

/** The word at a byte offset, which the caller knows to be within the message. */
std::uint32_t wordAt(const Message& message, std::size_t offset) noexcept;
void setWordAt(const Message& message, std::size_t offset, std::uint32_t value) noexcept;

} // namespace Dbcsi::Mailbox

#endif

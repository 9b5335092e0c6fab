#ifndef VARNIX_PLATFORM_ITC_FRAME_H
#define VARNIX_PLATFORM_ITC_FRAME_H

/**
 * What passes between two mailboxes: its form in the stream from a sending process to a mailbox.
 *
 * A frame is a header of five 32-bit words in the host's byte order, then the name, then the
 * message. Both ends of a stream run on one host, but they may be of different builds, and anybody
 * of the same user can write to a mailbox: nothing in a frame is taken for granted.
 */

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace Itc {

/** The longest message that can be sent, its number included. */
inline constexpr std::size_t maxMessageSize = std::size_t{1} << 20;
/** A message is at least its number. */
inline constexpr std::size_t minMessageSize = sizeof(std::uint32_t);
/** The longest name, as long as a file's name can be. */
inline constexpr std::size_t maxNameSize = 253;

enum class FrameKind : std::uint32_t
{
    MESSAGE = 1, ///< to be queued; no name
    LOCATE = 2   ///< to be delivered when a mailbox of that name exists
};

struct FrameHeader
{
    std::uint32_t magic;
    FrameKind kind;
    std::uint32_t sender;
    std::uint32_t nameSize;
    std::uint32_t messageSize;
};

inline constexpr std::size_t maxFrameSize = sizeof(FrameHeader) + maxNameSize + maxMessageSize;

struct Frame
{
    FrameKind kind;
    std::uint32_t sender;
    std::string_view name;
    std::span<const std::byte> message;

    std::size_t size() const noexcept { return sizeof(FrameHeader) + name.size() + message.size(); }
};

enum class Verdict
{
    WHOLE,      ///< a frame is at the beginning
    INCOMPLETE, ///< so far so good, but bytes are missing
    MALFORMED   ///< no frame begins so
};

struct Parsed
{
    Verdict verdict;
    Frame frame; ///< set when whole; it refers to the bytes parsed
};

/** Reads the frame at the beginning of `bytes`. */
Parsed parseFrame(std::span<const std::byte> bytes) noexcept;

/** The header of `frame`, whose sizes must be within the limits. */
FrameHeader headerOf(const Frame& frame) noexcept;

} // namespace Itc

#endif

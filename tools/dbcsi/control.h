#ifndef VARNIX_DBCSI_CONTROL_H
#define VARNIX_DBCSI_CONTROL_H

#include "words.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <dbcsiControlMessages.h>

/** The messages of dbcsiControlMessages.h as values. Decoding throws MalformedMessage. */
namespace Dbcsi {

/** A subscriber that a write was for. */
struct Receiver
{
    std::int32_t process;    ///< its id; 0 where it cannot be told
    std::uint64_t startTime; ///< of the process, in clock ticks since boot; 0 where not known
    std::uint64_t writes;    ///< sent in this subscription, this one included
    ControlOutcome outcome;
    std::string command;
    std::uint32_t connection = 0;       ///< its reference
    std::uint64_t connectionWrites = 0; ///< sent over it

    bool operator==(const Receiver&) const = default;
};

struct WriteRequest
{
    std::uint32_t version;
    std::uint32_t reference;
    Words words;
};

struct WriteConfirmation
{
    std::uint32_t reference;
    std::vector<Receiver> receivers;
};

struct WriteRejection
{
    std::uint32_t reference;
    ControlRefusal refusal;
    std::string text;
};

std::vector<std::byte> encode(const WriteRequest& request);
std::vector<std::byte> encode(const WriteConfirmation& confirmation);
std::vector<std::byte> encode(const WriteRejection& rejection);

/** All three take a whole message, its number included, and do not look at the number. */
WriteRequest decodeRequest(std::span<const std::byte> message);
WriteConfirmation decodeConfirmation(std::span<const std::byte> message);
WriteRejection decodeRejection(std::span<const std::byte> message);

} // namespace Dbcsi

#endif

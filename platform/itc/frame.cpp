#include "frame.h"

#include <cstring>

namespace Itc {

namespace {

constexpr std::uint32_t frameMagic = 0x31435449; // "ITC1"

bool isValid(const FrameHeader& header) noexcept
{
    return header.magic == frameMagic &&
           (header.kind == FrameKind::LOCATE ||
            (header.kind == FrameKind::MESSAGE && header.nameSize == 0)) &&
           header.nameSize <= maxNameSize && header.messageSize >= minMessageSize &&
           header.messageSize <= maxMessageSize;
}

} // namespace

Parsed parseFrame(std::span<const std::byte> bytes) noexcept
{
    FrameHeader header{};
    if (bytes.size() < sizeof header)
        return {Verdict::INCOMPLETE, {}};
    std::memcpy(&header, bytes.data(), sizeof header);
    if (!isValid(header))
        return {Verdict::MALFORMED, {}};
    const auto rest = bytes.subspan(sizeof header);
    if (rest.size() < std::size_t{header.nameSize} + header.messageSize)
        return {Verdict::INCOMPLETE, {}};
    const std::string_view name(reinterpret_cast<const char*>(rest.data()), header.nameSize);
    return {Verdict::WHOLE,
            {header.kind, header.sender, name, rest.subspan(header.nameSize, header.messageSize)}};
}

FrameHeader headerOf(const Frame& frame) noexcept
{
    return {frameMagic, frame.kind, frame.sender, static_cast<std::uint32_t>(frame.name.size()),
            static_cast<std::uint32_t>(frame.message.size())};
}

} // namespace Itc

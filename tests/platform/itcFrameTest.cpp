// The form of what passes between mailboxes, and what is not taken for it.
#include "frame.h"

#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

using namespace Itc;

namespace {

using Bytes = std::vector<std::byte>;
using Words = std::array<std::uint32_t, 5>;

/** "ITC1" as the host reads it. */
constexpr std::uint32_t magic = 0x31435449;

/** A frame from its header's words and what follows. */
Bytes frameOf(const Words& header, std::string_view rest)
{
    Bytes bytes(sizeof header + rest.size());
    std::memcpy(bytes.data(), header.data(), sizeof header);
    std::memcpy(bytes.data() + sizeof header, rest.data(), rest.size());
    return bytes;
}

std::string_view textOf(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

TEST(ItcFrame, AMessageIsReadWhole)
{
    const Bytes bytes = frameOf({magic, 1, 42, 0, 6}, "numb..next frame");
    const Parsed parsed = parseFrame(bytes);
    ASSERT_EQ(Verdict::WHOLE, parsed.verdict);
    EXPECT_EQ(FrameKind::MESSAGE, parsed.frame.kind);
    EXPECT_EQ(42U, parsed.frame.sender);
    EXPECT_EQ("", parsed.frame.name);
    EXPECT_EQ("numb..", textOf(parsed.frame.message));
    EXPECT_EQ(26U, parsed.frame.size());
}

TEST(ItcFrame, ALocateCarriesItsName)
{
    const Bytes bytes = frameOf({magic, 2, 42, 3, 4}, "a/bnumb");
    const Parsed parsed = parseFrame(bytes);
    ASSERT_EQ(Verdict::WHOLE, parsed.verdict);
    EXPECT_EQ(FrameKind::LOCATE, parsed.frame.kind);
    EXPECT_EQ("a/b", parsed.frame.name);
    EXPECT_EQ("numb", textOf(parsed.frame.message));
}

TEST(ItcFrame, EveryBeginningOfAFrameIsIncomplete)
{
    const Bytes bytes = frameOf({magic, 2, 42, 3, 8}, "a/bnumbmore");
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        const Bytes part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(Verdict::INCOMPLETE, parseFrame(part).verdict) << size;
    }
}

TEST(ItcFrame, TheLongestNameAndMessageAreTaken)
{
    const std::string rest(253 + (1 << 20), 'x');
    const Bytes bytes = frameOf({magic, 2, 42, 253, 1 << 20}, rest);
    EXPECT_EQ(Verdict::WHOLE, parseFrame(bytes).verdict);
    EXPECT_EQ(maxFrameSize, bytes.size());
}

TEST(ItcFrame, WhatIsNoFrameIsMalformed)
{
    constexpr Words wrong[] = {
        {magic + 1, 1, 42, 0, 8},         // another form
        {magic, 0, 42, 0, 8},             // unknown kinds
        {magic, 3, 42, 0, 8},             //
        {magic, 1, 42, 1, 8},             // a message with a name
        {magic, 2, 42, 254, 8},           // a name beyond the limit
        {magic, 2, 42, 0xFFFFFFFF, 8},    //
        {magic, 1, 42, 0, 3},             // a message without its number
        {magic, 1, 42, 0, 0},             //
        {magic, 1, 42, 0, (1 << 20) + 1}, // a message beyond the limit
        {magic, 1, 42, 0, 0xFFFFFFFF},    //
        {0, 0, 0, 0, 0},                  // a hole in a file
    };
    for (const Words& header : wrong) {
        EXPECT_EQ(Verdict::MALFORMED, parseFrame(frameOf(header, "")).verdict);
        EXPECT_EQ(Verdict::MALFORMED, parseFrame(frameOf(header, std::string(2048, 'x'))).verdict);
    }
}

TEST(ItcFrame, WhatIsWrittenIsRead)
{
    const Bytes message(100, std::byte{7});
    const Frame frame{FrameKind::LOCATE, 9, "name", message};
    const FrameHeader header = headerOf(frame);
    Bytes bytes(frame.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    std::memcpy(bytes.data() + sizeof header, "name", 4);
    std::memcpy(bytes.data() + sizeof header + 4, message.data(), message.size());
    const Parsed parsed = parseFrame(bytes);
    ASSERT_EQ(Verdict::WHOLE, parsed.verdict);
    EXPECT_EQ(frame.kind, parsed.frame.kind);
    EXPECT_EQ(frame.sender, parsed.frame.sender);
    EXPECT_EQ(frame.name, parsed.frame.name);
    EXPECT_EQ(textOf(frame.message), textOf(parsed.frame.message));
}

} // namespace

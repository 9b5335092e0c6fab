#include "writeIndication.h"

#include "dbcsiMessages.h"

#include <cstring>

#include <gtest/gtest.h>

namespace {

using namespace Dbcsi;
using namespace std::string_literals;

std::uint32_t wordAt(const std::vector<std::byte>& message, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, message.data() + offset, sizeof value);
    return value;
}

std::string stringsOf(const std::vector<std::byte>& message)
{
    return {reinterpret_cast<const char*>(message.data()) + 16, message.size() - 16};
}

TEST(WriteIndication, CarriesNumberCountAndPackedWords)
{
    const auto message = encodeWriteIndication({"db", "write", "/unit/gain", "-i", "2", "7", "8"});
    EXPECT_EQ(wordAt(message, 0), 0x0170708Bu);
    EXPECT_EQ(wordAt(message, 4), 0u);
    EXPECT_EQ(wordAt(message, 8), 0u);
    EXPECT_EQ(wordAt(message, 12), 7u);
    EXPECT_EQ(stringsOf(message), "db\0write\0/unit/gain\0-i\0"
                                  "2\0"
                                  "7\0"
                                  "8\0"s);
}

TEST(WriteIndication, KeepsEmptyWordsAndBytesOfAnyKind)
{
    const auto message = encodeWriteIndication({"", "a b", "\xFF\n", ""});
    EXPECT_EQ(wordAt(message, 12), 4u);
    EXPECT_EQ(stringsOf(message), "\0a b\0\xFF\n\0\0"s);
}

TEST(WriteIndication, WithoutWordsIsItsFixedPartAlone)
{
    const auto message = encodeWriteIndication({});
    EXPECT_EQ(message.size(), 16u);
    EXPECT_EQ(wordAt(message, 12), 0u);
}

} // namespace

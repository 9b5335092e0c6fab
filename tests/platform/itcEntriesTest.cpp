// What the entries of the mailbox directory are called.
#include "entries.h"
#include "frame.h"

#include <string>

#include <gtest/gtest.h>

namespace Itc {
namespace {

TEST(ItcEntries, IdIsEightHexadecimalDigits)
{
    EXPECT_EQ(toHex(0), "00000000");
    EXPECT_EQ(toHex(0x1A2B3C4D), "1a2b3c4d");
    EXPECT_EQ(toHex(0xFFFFFFF0), "fffffff0");
    EXPECT_EQ(endpointEntry(0x1F), "m-0000001f");
    EXPECT_EQ(channelEntry(0x1F), "w-0000001f");
    EXPECT_EQ(passingEntry("m-0000001f"), "t-0000001f");
    EXPECT_EQ(passingEntry("w-0000001f"), "t-0000001f");
}

TEST(ItcEntries, EndpointsIdIsReadBackFromItsEntryAlone)
{
    EXPECT_EQ(endpointId("m-0000001f"), 0x1FU);
    EXPECT_EQ(endpointId("m-7fffffff"), 0x7FFFFFFFU);
    for (const char* const other : {"", "m-", "n-0000001f", "m-0000001", "m-0000001f0",
                                    "m-0000001g", "m--000001f", "m-80000000", "mx0000001f"})
        EXPECT_FALSE(endpointId(other)) << other;
}

TEST(ItcEntries, NamesOrdinaryBytesAreShownAndTheOthersInHexadecimal)
{
    EXPECT_EQ(nameEntry("DbcsiServer_-.09azAZ"), "n-DbcsiServer_-.09azAZ");
    EXPECT_EQ(nameEntry("a b/%\xFF"), "n-a%20b%2f%25%ff");
    EXPECT_EQ(nameEntry(""), "n-");
}

TEST(ItcEntries, NameThatIsTooLongForAnEntryHasNone)
{
    const std::string longest(maxNameSize, 'x');
    EXPECT_EQ(nameEntry(longest), "n-" + longest);
    EXPECT_FALSE(nameEntry(longest + 'x'));
    EXPECT_FALSE(nameEntry(std::string(maxNameSize / 3 + 1, '/')));
}

} // namespace
} // namespace Itc

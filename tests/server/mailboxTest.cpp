#include "mailbox.h"

#include <gtest/gtest.h>

namespace Dbcsi {
namespace {

TEST(MailboxId, IsShownWithAllItsDigits)
{
    EXPECT_EQ(Mailbox::idText(0x0A000B0C), "0x0a000b0c");
    EXPECT_EQ(Mailbox::idText(0), "0x00000000");
    EXPECT_EQ(Mailbox::idText(0xFFFFFFFF), "0xffffffff");
}

} // namespace
} // namespace Dbcsi

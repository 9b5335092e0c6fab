#include "dbfile/checksum.h"

#include <string>

#include <gtest/gtest.h>

namespace Varnix::DbFile {
namespace {

TEST(Checksum, HasThePublishedCheckValue)
{
    EXPECT_EQ(checksum("123456789"), 0x906E);
}

TEST(Checksum, OfNoBytesIsZero)
{
    EXPECT_EQ(checksum(""), 0);
}

TEST(Checksum, OfABlockWhoseCrcIsAllOnesIsTheSubstitute)
{
    // The register of two 0xFF bytes is zero, and so it stays over zero bytes: complemented,
    // 0xFFFF.
    EXPECT_EQ(checksum(std::string("\xFF\xFF", 2)), 0x1111);
    EXPECT_EQ(checksum(std::string("\xFF\xFF\x00\x00", 4)), 0x1111);
}

} // namespace
} // namespace Varnix::DbFile

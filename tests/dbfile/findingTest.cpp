#include "dbfile/finding.h"

#include <gtest/gtest.h>

namespace Varnix::DbFile {
namespace {

TEST(HexNumber, TakesTheLargest)
{
    EXPECT_EQ(hexNumber(UINT64_MAX), "0xffffffffffffffff");
}

TEST(HexBytes, AreTwoDigitsEachWithABlankBetween)
{
    EXPECT_EQ(hexBytes("\x01\xEF\xAB"), "01 ef ab");
    EXPECT_EQ(hexBytes(""), "");
}

TEST(Findings, AreDescribedOnALineEach)
{
    EXPECT_EQ(describe("a\n", {{1, "one"}, {16, "two"}}),
              "a\\n:@0x1: error: one\na\\n:@0x10: error: two");
}

} // namespace
} // namespace Varnix::DbFile

#include "tools/varnix/inOrder.h"

#include "tests/support/allocationFailure.h"

#include <new>

#include <gtest/gtest.h>

namespace Varnix::Test {
namespace {

TEST(InOrderFault, WithoutMemoryForAThreadTheOthersDoTheWork)
{
    constexpr std::size_t count = 20;
    std::size_t whole = 0;
    for (std::size_t first = 0;; ++first) {
        std::size_t taken = 0;
        const AllocationFailure failure(Allocation::THROWING, first, 1);
        try {
            Tool::InOrder<std::size_t>(count, 3, [](std::size_t i) {
                return i;
            }).takeAll([&taken](std::size_t, std::size_t) { ++taken; });
            if (failure.struck())
                ++whole;
        } catch (const std::bad_alloc&) {
            continue;
        }
        EXPECT_EQ(taken, count);
        if (!failure.struck())
            break;
    }
    EXPECT_GE(whole, 2U); // the second and the third thread
}

} // namespace
} // namespace Varnix::Test

#include "elements.h"

#include <cstdint>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

namespace Varnix::Backend {

namespace {

template <typename T>
class Elements : public testing::Test
{
};

using Types = testing::Types<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t,
                             std::int32_t>;
TYPED_TEST_SUITE(Elements, Types);

/** Element `i` of big-endian bytes that count up from 1. */
template <typename T>
T expected(std::size_t i)
{
    std::uint32_t value = 0;
    for (std::size_t k = 0; k < sizeof(T); ++k)
        value = value << 8U | static_cast<unsigned char>(1 + i * sizeof(T) + k);
    return static_cast<T>(value);
}

TYPED_TEST(Elements, AreInHostOrderHoweverManyAndWhereverTheyStand)
{
    // More than four registers of 32 bytes twice over, with every rest.
    constexpr std::size_t most = 300;
    constexpr TypeParam untouched = 99;
    for (std::size_t offset = 0; offset < sizeof(TypeParam) + 1; ++offset) {
        std::vector<unsigned char> bytes(offset + most * sizeof(TypeParam));
        std::iota(bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end(), 1);
        for (std::size_t count = 0; count <= most; ++count) {
            std::vector<TypeParam> elements(count + 1, untouched);
            copyElements(elements.data(), bytes.data() + offset, count);
            for (std::size_t i = 0; i < count; ++i)
                ASSERT_EQ(elements[i], expected<TypeParam>(i)) << i << " of " << count;
            ASSERT_EQ(elements[count], untouched) << "after " << count;
        }
    }
}

TYPED_TEST(Elements, ReplaceWhatWasThereWhateverItsSize)
{
    std::vector<unsigned char> bytes(8 * sizeof(TypeParam));
    std::iota(bytes.begin(), bytes.end(), 1);
    for (const std::size_t before : {0U, 3U, 8U, 200U}) {
        for (const std::size_t count : {0U, 3U, 8U}) {
            std::vector<TypeParam> elements(before, 99);
            assignElements(elements, bytes.data(), count);
            ASSERT_EQ(elements.size(), count);
            for (std::size_t i = 0; i < count; ++i)
                ASSERT_EQ(elements[i], expected<TypeParam>(i));
        }
    }
}

} // namespace

} // namespace Varnix::Backend

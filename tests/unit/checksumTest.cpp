#include "checksum.h"

#include "checksumFolding.h"
#include "checksumTable.h"
#include "dbUtils.h"
#include "tests/support/dbBuilder.h"

#include <initializer_list>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace Varnix::Backend {
namespace {

using Test::DbBuilder;

std::uint16_t crc(const std::string& bytes)
{
    return Checksum::checksum_crc16(reinterpret_cast<const unsigned char*>(bytes.data()),
                                    static_cast<std::uint32_t>(bytes.size()));
}

/** CRC-16/X-25 from its published parameters, one bit at a time, unreflected and table-free. */
std::uint16_t bitByBit(const std::string& bytes)
{
    unsigned int shifter = 0xFFFF;
    for (const char byte : bytes) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const unsigned int in = static_cast<unsigned char>(byte) >> bit & 1U;
            const unsigned int out = shifter >> 15U;
            shifter = shifter << 1U & 0xFFFFU;
            if (in != out)
                shifter ^= 0x1021U;
        }
    }
    unsigned int reflected = 0;
    for (unsigned int bit = 0; bit < 16; ++bit)
        reflected |= (shifter >> bit & 1U) << (15U - bit);
    return static_cast<std::uint16_t>(~reflected);
}

class RandomBytes
{
public:
    std::string operator()(std::size_t size)
    {
        std::string bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(m_random());
        return bytes;
    }

private:
    std::mt19937 m_random{20240607};
};

TEST(Checksum, HasThePublishedCheckValue)
{
    EXPECT_EQ(crc("123456789"), 0x906E);
}

TEST(Checksum, OfNoBytesIsZeroAndTouchesNoMemory)
{
    EXPECT_EQ(Checksum::checksum_crc16(nullptr, 0), 0);
}

TEST(Checksum, OfOneByteFollowsTheTableOfTheReflectedPolynomial)
{
    // ~(T[b ^ 0xFF] ^ 0xFF) with T[1] = 0x1189 and T[128] = 0x8408
    EXPECT_EQ(crc("\xFE"), static_cast<std::uint16_t>(~(0x1189U ^ 0xFFU)));
    EXPECT_EQ(crc("\x7F"), static_cast<std::uint16_t>(~(0x8408U ^ 0xFFU)));
}

TEST(Checksum, EqualsTheBitByBitComputationForEveryLength)
{
    RandomBytes randomBytes;
    for (std::size_t size = 1; size <= 200; ++size) {
        for (int block = 0; block < 20; ++block) {
            const std::string bytes = randomBytes(size);
            const std::uint16_t expected = bitByBit(bytes);
            ASSERT_EQ(crc(bytes), expected == 0xFFFF ? 0x1111 : expected) << size;
        }
    }
}

TEST(Checksum, EqualsTheBitByBitComputationForLargeBlocks)
{
    RandomBytes randomBytes;
    for (const std::size_t size : {4095U, 4096U, 65537U, 1000003U}) {
        const std::string bytes = randomBytes(size);
        EXPECT_EQ(crc(bytes), bitByBit(bytes)) << size;
    }
}

const unsigned char* bytesOf(const std::string& bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

TEST(ChecksumTable, EqualsTheBitByBitComputationForEveryLength)
{
    RandomBytes randomBytes;
    for (std::uint32_t size = 0; size <= 200; ++size) {
        const std::string bytes = randomBytes(size);
        const unsigned int crc = Checksum::advanceByTable(0xFFFF, bytesOf(bytes), size);
        ASSERT_EQ(~crc & 0xFFFFU, bitByBit(bytes)) << size;
    }
}

TEST(ChecksumFolding, LeavesBytesThatAdvanceTheTableAsAllBlocksDo)
{
    RandomBytes randomBytes;
    // Where the processor cannot fold, nothing calls it.
    for (std::uint32_t blocks = 1; Checksum::canFold() && blocks <= 40; ++blocks) {
        const std::uint32_t size = blocks * Checksum::foldedBlock;
        const std::string bytes = randomBytes(size);
        for (const std::uint16_t crc : std::initializer_list<std::uint16_t>{0, 1, 0x8000, 0xFFFF}) {
            const Checksum::Folded folded = Checksum::fold(crc, bytesOf(bytes), blocks);
            ASSERT_EQ(Checksum::advanceByTable(0, folded.data(), folded.size()),
                      Checksum::advanceByTable(crc, bytesOf(bytes), size))
                << blocks << " " << crc;
        }
    }
}

TEST(Checksum, IsTheSameWhereverTheBlockStarts)
{
    const std::string bytes = RandomBytes()(100);
    const std::uint16_t expected = bitByBit(bytes);
    for (std::size_t offset = 0; offset < 32; ++offset) {
        const std::string shifted = std::string(offset, 'x') + bytes;
        const auto* const start = reinterpret_cast<const unsigned char*>(shifted.data()) + offset;
        EXPECT_EQ(Checksum::checksum_crc16(start, 100), expected) << offset;
    }
}

/** The block followed by the two bytes that make its X-25 CRC 0xFFFF. */
std::string withAllOnesCrc(std::string block)
{
    for (unsigned int tail = 0; tail <= 0xFFFF; ++tail) {
        const std::string whole =
            block + static_cast<char>(tail >> 8U) + static_cast<char>(tail & 0xFFU);
        if (bitByBit(whole) == 0xFFFF)
            return whole;
    }
    ADD_FAILURE() << "no such block";
    return block;
}

TEST(Checksum, OfABlockWhoseCrcIsAllOnesIsSubstituted)
{
    EXPECT_EQ(crc("\xFF\xFF"), 0x1111);
    for (const char* const block : {"", "a", "a longer block than one stride"})
        EXPECT_EQ(crc(withAllOnesCrc(block)), 0x1111);
}

/** An image whose header, records and tail have a CRC of all ones. */
std::string imageWithAllOnesCrc()
{
    const std::string plain = DbBuilder().u8("/a", {1}).tail(std::string(10, '\0')).image();
    const std::string covered = withAllOnesCrc(plain.substr(0, plain.size() - 6));
    return covered + plain.substr(covered.size());
}

bool accepted(const std::string& image)
{
    return DBUtils::checkSumCheck(reinterpret_cast<const unsigned char*>(image.data()),
                                  static_cast<std::uint32_t>(image.size() - 14));
}

void store(std::string& image, unsigned int checksum)
{
    image[image.size() - 2] = static_cast<char>(checksum >> 8U);
    image[image.size() - 1] = static_cast<char>(checksum & 0xFFU);
}

TEST(ChecksumCheck, AcceptsTheSubstituteAndNotTheSubstituted)
{
    std::string image = imageWithAllOnesCrc();
    store(image, 0xFFFF);
    EXPECT_FALSE(accepted(image));
    store(image, 0x1111);
    EXPECT_TRUE(accepted(image));
}

TEST(ChecksumCheck, AcceptsOneStoredValueOfAll)
{
    std::string image = DbBuilder().u16("/a", {1, 2}).image();
    const std::uint16_t right = bitByBit(image.substr(0, image.size() - 4));
    for (unsigned int value = 0; value <= 0xFFFF; ++value) {
        store(image, value);
        ASSERT_EQ(accepted(image), value == right) << value;
    }
}

TEST(ChecksumCheck, CoversEveryByteButTheTwoBeforeTheChecksum)
{
    const std::string image = DbBuilder().text("/key", "text").image();
    for (std::size_t offset = 0; offset < image.size(); ++offset) {
        std::string changed = image;
        changed[offset] = static_cast<char>(changed[offset] ^ 1);
        const bool uncovered = offset == image.size() - 4 || offset == image.size() - 3;
        EXPECT_EQ(accepted(changed), uncovered) << offset;
    }
}

TEST(ChecksumCheck, RefusesALengthThatTheChecksumCannotCountAndTouchesNoMemory)
{
    EXPECT_FALSE(DBUtils::checkSumCheck(nullptr, 0xFFFFFFF6));
    EXPECT_FALSE(DBUtils::checkSumCheck(nullptr, 0xFFFFFFFF));
}

TEST(SwapEnd, ReversesTheBytesOfANumber)
{
    const auto swapped = [](auto value) {
        DBUtils::SwapEnd(value);
        return value;
    };
    EXPECT_EQ(swapped(static_cast<unsigned char>(0x12)), 0x12);
    EXPECT_EQ(swapped(static_cast<signed char>(-3)), -3);
    EXPECT_EQ(swapped(static_cast<unsigned short>(0x1234)), 0x3412);
    EXPECT_EQ(swapped(static_cast<short>(0x12FF)), static_cast<short>(0xFF12));
    EXPECT_EQ(swapped(static_cast<short>(-2)), static_cast<short>(0xFEFF));
    EXPECT_EQ(swapped(0x12345678U), 0x78563412U);
    EXPECT_EQ(swapped(0x123456FF), static_cast<int>(0xFF563412U));
    EXPECT_EQ(swapped(-2), static_cast<int>(0xFEFFFFFFU));
}

} // namespace
} // namespace Varnix::Backend

#include "dbfile/decoder.h"
#include "dbfile/sourceParser.h"
#include "dbfile/sourcePrinter.h"
#include "tests/support/dbBuilder.h"

#include <random>
#include <string>

#include <gmock/gmock.h>

namespace Varnix::DbFile {
namespace {

using Test::DbBuilder;
using Test::repairChecksum;
using Test::setLength;

/** What `build` makes of what `dump` says. */
std::string rebuilt(const std::string& image)
{
    SourceParser parser;
    parser.parse("dump", printSource(decode(image)));
    EXPECT_THAT(parser.errors(), testing::IsEmpty());
    return encode(parser.database());
}

/** Databases of every kind, the same ones in every run. */
class Generator
{
public:
    std::string image()
    {
        DbBuilder builder;
        const std::size_t records = below(6);
        for (std::size_t i = 0; i < records; ++i)
            builder.record({.tag = 'F', .key = key(), .type = type(), .data = bytes(below(20))});
        if (oneIn(4))
            builder.reserved(bytes(4));
        if (oneIn(4))
            builder.tail(bytes(below(40)));
        if (oneIn(4))
            builder.unchecked(bytes(2));
        if (oneIn(4))
            builder.extra(bytes(below(40)));
        return builder.image();
    }

    /** Changes a few bytes and makes the checksum right again. */
    void damage(std::string& image)
    {
        for (std::size_t i = below(4); i < 4; ++i)
            image[oneIn(4) ? 9 : below(image.size())] = oneIn(3) ? 'F' : byte();
        repairChecksum(image);
    }

    bool oneIn(std::size_t n) { return below(n) == 0; }

private:
    std::size_t below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random);
    }

    char byte() { return static_cast<char>(below(256)); }

    std::string bytes(std::size_t size)
    {
        std::string result(size, '\0');
        for (char& c : result)
            c = byte();
        return result;
    }

    std::string key()
    {
        if (oneIn(2))
            return "/unit/" + std::to_string(below(4));
        std::string result = bytes(below(oneIn(10) ? 400 : 12));
        std::erase(result, '\0');
        return oneIn(2) ? "/" + result : result;
    }

    std::uint8_t type() { return static_cast<std::uint8_t>(oneIn(4) ? below(256) : below(11)); }

    std::mt19937 m_random{20240521};
};

TEST(RoundTrip, BuildUndoesDumpForTenThousandFiles)
{
    Generator generator;
    for (int i = 0; i < 10000; ++i) {
        const std::string image = generator.image();
        ASSERT_THAT(loadRefusals(image), testing::IsEmpty());
        ASSERT_EQ(rebuilt(image), image) << printSource(decode(image));
    }
}

TEST(RoundTrip, BuildUndoesDumpForEveryDamagedFileThatALoaderAccepts)
{
    Generator generator;
    int accepted = 0;
    for (int i = 0; i < 10000; ++i) {
        std::string image = generator.image();
        generator.damage(image);
        if (!refusals(image).empty())
            continue;
        ++accepted;
        ASSERT_EQ(rebuilt(image), image) << printSource(decode(image));
    }
    EXPECT_GT(accepted, 3000);
}

struct OddFile
{
    const char* name;
    std::string image;
};

void PrintTo(const OddFile& file, std::ostream* out)
{
    *out << hexBytes(file.image);
}

class OddFiles : public testing::TestWithParam<OddFile>
{
};

TEST_P(OddFiles, AreRebuiltByteForByte)
{
    ASSERT_THAT(loadRefusals(GetParam().image), testing::IsEmpty());
    EXPECT_EQ(rebuilt(GetParam().image), GetParam().image);
}

std::string withLength(std::uint32_t length, std::string image)
{
    setLength(image, length);
    repairChecksum(image);
    return image;
}

const DbBuilder twoRecords = DbBuilder().u8("/a", {1, 2, 3}).text("/b", "text");

INSTANTIATE_TEST_SUITE_P(
    RoundTrip, OddFiles,
    testing::Values(
        OddFile{"Empty", DbBuilder().image()},
        OddFile{"RecordEndsBehindTheEnd", withLength(10 + 11 + 8, twoRecords.image())},
        OddFile{"RecordEndsBehindTheCoveredBytes",
                withLength(10 + 11 + 1, DbBuilder(twoRecords).extra("x").image())},
        OddFile{"RecordWithoutKeyEnd", DbBuilder().tail("F/key" + std::string(10, 'x')).image()},
        OddFile{"ForeignTagFirst",
                DbBuilder(twoRecords).tail("F/c" + std::string(15, '\0')).image()},
        OddFile{"LengthZero", withLength(0, std::string("H\x04\0\0\0\0\0\0\0\0\0\0\0\0", 14))},
        OddFile{"LengthNine", withLength(9, twoRecords.image())},
        OddFile{"LengthTen", withLength(10, twoRecords.image())},
        OddFile{"TailOfNoBytes", DbBuilder(twoRecords).tail("").image()},
        OddFile{"KeyTwice", DbBuilder(twoRecords).u8("/a", {}).image()},
        OddFile{"KeyLongerThanReported",
                DbBuilder().record({.key = std::string(300, 'k'), .type = 2}).image()},
        OddFile{"KeyOfNothing", DbBuilder().record({.key = "", .type = 2, .data = "a"}).image()},
        OddFile{"KeyOfEveryByte",
                DbBuilder().record({.key = "/\x01\t\n\r \"#\\\x7F\x80\xFF", .type = 10}).image()},
        OddFile{"OtherTag", DbBuilder(twoRecords).record({.tag = '\0', .key = "/c"}).image()}),
    [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace Varnix::DbFile

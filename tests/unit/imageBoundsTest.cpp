#include "dbfile/bigEndian.h"
#include "loaderTest.h"

namespace Varnix::Backend {
namespace {

using namespace std::string_literals;
using Test::forceChecksum;
using Test::imageOf;

constexpr std::uint32_t length = 40; ///< N of every image here
constexpr std::size_t imageEnd = length + 14;
constexpr std::uint8_t u8 = 2;

std::string word(std::uint8_t type, std::size_t size)
{
    std::string bytes;
    DbFile::appendBigEndian(bytes, type, 1);
    DbFile::appendBigEndian(bytes, size, 3);
    return bytes;
}

std::string record(const std::string& key, std::uint8_t type, std::size_t size, char tag = 'F')
{
    return tag + key + '\0' + word(type, size);
}

/** Files with a right checksum, each given to both loaders. */
class ImageBounds : public LoaderTest, public testing::WithParamInterface<bool>
{
protected:
    /** Whether what a loader has taken becomes a store's content. */
    bool populateFrom(const std::string& image)
    {
        write(image);
        DbContainer loaded;
        const bool isProduction = GetParam();
        EXPECT_TRUE(isProduction ? loaded.loadProductionDb(path) : loaded.loadSwDb(path));
        return store.populate(loaded);
    }

    /** The image cannot be used, with no word about it, and the store is as it was. */
    void expectRefused(const std::string& image)
    {
        ASSERT_TRUE(populate(DbBuilder().text("/before", "kept")));
        EXPECT_FALSE(populateFrom(image));
        EXPECT_EQ(text("/before"), "kept");
        EXPECT_EQ(resultOf<std::string>("/a"), ResultCode::NOT_FOUND);
    }
};

INSTANTIATE_TEST_SUITE_P(Of, ImageBounds, testing::Bool(), [](const auto& test) {
    return std::string(test.param ? "ProductionDatabases" : "SoftwareDatabases");
});

/** One record from `start` on whose key ends with the NUL at `nul`; zeros follow. */
std::string keyTo(std::size_t start, std::size_t nul)
{
    std::string bytes = start > 10 ? record("/a", u8, start - 18) : "";
    bytes.resize(start - 10, 'd');
    bytes += "F/";
    bytes.resize(nul - 10, 'k');
    return imageOf(length, bytes);
}

TEST_P(ImageBounds, RefuseAKeyWithoutEnd)
{
    for (const std::size_t start : {std::size_t{10}, std::size_t{30}, length - std::size_t{1}}) {
        std::string image = keyTo(start, imageEnd);
        forceChecksum(image, 0x4B4B);
        expectRefused(image);
    }
}

TEST_P(ImageBounds, RefuseAKeyWhoseWordDoesNotEndInside)
{
    for (const std::size_t start : {std::size_t{10}, length - std::size_t{1}}) {
        expectRefused(keyTo(start, length + 10));
        expectRefused(keyTo(start, length + 11));
        std::string image = keyTo(start, length + 12);
        forceChecksum(image, 0x004B);
        expectRefused(image);
        image = keyTo(start, length + 13);
        forceChecksum(image, 0x4B00);
        expectRefused(image);
    }
}

TEST_P(ImageBounds, AcceptAWordThatIsTheLastFourBytes)
{
    std::string image = keyTo(10, length + 9);
    EXPECT_TRUE(populateFrom(image)); // type 0: not stored
    const std::string key = image.substr(11, length + 9 - 11);
    EXPECT_EQ(resultOf<std::string>(key), ResultCode::NOT_FOUND);

    image[length + 10] = u8; // and the checksum is its length
    forceChecksum(image, 0);
    EXPECT_TRUE(populateFrom(image));
    EXPECT_EQ(resultOf<std::string>(key), ResultCode::WRONG_TYPE);
    forceChecksum(image, 1);
    expectRefused(image);
}

TEST_P(ImageBounds, AcceptDataUpToTheLastByteAndNoFurther)
{
    const std::size_t data = 10 + record("/a", u8, 0).size();
    for (const char tag : {'F', 'G'})
        for (const std::size_t end : {imageEnd + 1, imageEnd + 2, data + 0xFFFFFF})
            expectRefused(imageOf(length, record("/a", u8, end - data, tag)));
    for (const char tag : {'F', 'G'})
        for (std::size_t end = length; end <= imageEnd; ++end) {
            const std::string image =
                imageOf(length, record("/a", u8, end - data, tag) + std::string(100, 'v'));
            EXPECT_TRUE(populateFrom(image)) << end;
            const std::string bytes = image.substr(data, end - data);
            EXPECT_EQ(numbers<unsigned char>("/a"),
                      std::vector<unsigned char>(bytes.begin(), bytes.end()));
        }
}

TEST_P(ImageBounds, StoreNothingOfAFileWhoseLastRecordReachesOutside)
{
    const std::string good = record("/a", u8, 1) + '\x01';
    expectRefused(imageOf(length, good + record("/b", u8, 0xFFFFFF)));
    // The record is refused for what it says, also where another one replaces it.
    expectRefused(imageOf(length, record("/a", u8, 1) + '\x01' + record("/a", u8, imageEnd)));
}

TEST_P(ImageBounds, AskNothingOfDataThatIsNotStored)
{
    for (const std::string& skipped :
         {record("abc", u8, 0xFFFFFF), record("/b", 0, 0xFFFFFF), record("", u8, imageEnd)}) {
        listen();
        EXPECT_TRUE(populateFrom(imageOf(length, record("/a", u8, 1) + '\x01' + skipped)));
        const std::string key = skipped.substr(1, skipped.find('\0') - 1);
        EXPECT_THAT(heard(),
                    testing::Contains(storeInfo("ABN: Type of data is undefined for key: ", key)));
        EXPECT_EQ(numbers<unsigned char>("/a"), std::vector<unsigned char>{1});
    }
}

TEST_P(ImageBounds, AskNothingOfWhatTheWalkDoesNotReach)
{
    const std::string outside = record("/b", u8, 0xFFFFFF);
    const std::string good = record("/a", u8, 1, 'G') + '\x01';
    EXPECT_TRUE(populateFrom(imageOf(length, good + outside)));
    EXPECT_EQ(numbers<unsigned char>("/a"), std::vector<unsigned char>{1});

    std::string behindTheEnd = record("/a", u8, length - 18);
    behindTheEnd.resize(length - 10, '\x01');
    EXPECT_TRUE(populateFrom(imageOf(length, behindTheEnd + std::string(12, 'F'))));
    for (std::uint32_t shortLength = 0; shortLength <= 10; ++shortLength)
        EXPECT_TRUE(populateFrom(imageOf(shortLength, std::string(14, 'F')))) << shortLength;
}

TEST_P(ImageBounds, HoldForTheIteratorAlone)
{
    for (const std::size_t nul : {imageEnd, length + std::size_t{11}, length + std::size_t{10}}) {
        std::string image = keyTo(10, nul);
        forceChecksum(image, 0x4B4B);
        write(image);
        ASSERT_TRUE(container.loadSwDb(path));
        EXPECT_THAT(walk(), ElementsAre(AllOf(Field(&DbRecord::key, ""),
                                              Field(&DbRecord::type, TypeOfData_t::UNDEFINED),
                                              Field(&DbRecord::data, nullptr),
                                              Field(&DbRecord::length, 0U))));
        EXPECT_EQ(DbContainer::iterator::begin(&container).key(), "");
    }
}

} // namespace
} // namespace Varnix::Backend

#include "loaderTest.h"
#include "tests/support/allocationFailure.h"

#include <cerrno>

namespace Varnix::Backend {
namespace {

using Test::Allocation;
using Test::AllocationFailure;

class SoftwareLoader : public LoaderTest
{
protected:
    std::vector<TraceRecord> refusal(std::initializer_list<CallEffect> reads = {})
    {
        return refusalOf([&] { return container.loadSwDb(path); }, reads);
    }

    auto openingFailed() const
    {
        return loaderInfo("ABN: Failed opening db file ", "ABN: Failed opening db file " + path);
    }
    auto noDatabase() const
    {
        return loaderInfo("is not a DB file, will not read it ",
                          "ABN: " + path + " is not a DB file, will not read it ");
    }
    auto headerUnreadable() const
    {
        return loaderInfo("ABN: Failed to load db header from file ",
                          "ABN: Failed to load db header from file " + path);
    }
    auto headerWrong() const { return loaderHeaderWrong(path, 1); }
    auto noMemory() const
    {
        return loaderError("Failed to allocate memory buffer for db file ",
                           "Failed to allocate memory buffer for db file " + path);
    }
    auto imageUnreadable() const
    {
        return loaderInfo("ABN: Error loading db image from file ",
                          "ABN: Error loading db image from file " + path);
    }
    static auto corrupted()
    {
        const char* const text =
            "ABN: Corrupted Data Base file. Calculated checksum does not match stored one.";
        return loaderInfo("ABN: Corrupted Data Base file.", text);
    }
};

TEST_F(SoftwareLoader, LoadsAGoodFileInSilence)
{
    write(goodFile);
    listen();
    const std::size_t descriptors = openDescriptors();
    EXPECT_TRUE(container.loadSwDb(path));
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/a"), Field(&DbRecord::key, "/b")));
}

TEST_F(SoftwareLoader, IgnoresWhatTheFormatDoesNotInterpret)
{
    write(DbBuilder(goodFile)
              .reserved("\xFF\x01\x02\x03")
              .tail(std::string(10, 'F'))
              .unchecked("\x12\x34")
              .extra("behind the checksum"));
    EXPECT_TRUE(container.loadSwDb(path));
    EXPECT_THAT(walk(), ElementsAre(Field(&DbRecord::key, "/a"), Field(&DbRecord::key, "/b")));
}

TEST_F(SoftwareLoader, RefusesAMissingFile)
{
    EXPECT_THAT(refusal(), ElementsAre(openingFailed()));
}

TEST_F(SoftwareLoader, RefusesFilesShorterThanAHeader)
{
    const std::string image = goodFile.image();
    for (std::size_t size = 0; size < 10; ++size) {
        write(image.substr(0, size));
        EXPECT_THAT(refusal(), ElementsAre(noDatabase())) << size;
    }
}

TEST_F(SoftwareLoader, LooksAtTheLow32BitsOfTheFilesSize)
{
    write(goodFile);
    stretch((std::uintmax_t{1} << 32) + 9);
    EXPECT_THAT(refusal(), ElementsAre(noDatabase()));
    stretch((std::uintmax_t{1} << 32) + 10);
    EXPECT_TRUE(container.loadSwDb(path));
}

TEST_F(SoftwareLoader, RefusesAFileWhoseHeaderCannotBeRead)
{
    write(goodFile);
    EXPECT_THAT(refusal({CallEffect::failing(EIO)}), ElementsAre(headerUnreadable()));
}

TEST_F(SoftwareLoader, RefusesWrongMagicAndFormat)
{
    const std::string image = goodFile.image();
    for (const char magic : {'h', 'F', '\0', 'I', '\xC8'}) {
        std::string wrong = image;
        wrong[0] = magic;
        repairChecksum(wrong);
        write(wrong);
        EXPECT_THAT(refusal(), ElementsAre(headerWrong())) << magic;
    }
    for (const char format : {'\0', '\3', '\5', '4', '\xFF'}) {
        std::string wrong = image;
        wrong[1] = format;
        repairChecksum(wrong);
        write(wrong);
        EXPECT_THAT(refusal(), ElementsAre(headerWrong())) << format;
    }
}

TEST_F(SoftwareLoader, ReportsAnImageThatFindsNoMemory)
{
    write(goodFile);
    TraceSession::ofThisProcess().take();
    {
        const AllocationFailure failure(Allocation::NON_THROWING);
        EXPECT_FALSE(container.loadSwDb(path));
    }
    EXPECT_THAT(heard(), ElementsAre(noMemory()));
    EXPECT_TRUE(isEmpty());
    EXPECT_TRUE(container.loadSwDb(path));
}

TEST_F(SoftwareLoader, RefusesAHeaderAlone)
{
    write(DbBuilder().image().substr(0, 10));
    EXPECT_THAT(refusal(), ElementsAre(imageUnreadable()));
}

TEST_F(SoftwareLoader, RefusesEveryFileShorterThanItsHeaderClaims)
{
    const std::string image = goodFile.image();
    for (std::size_t size = 10; size < image.size(); ++size) {
        write(image.substr(0, size));
        EXPECT_THAT(refusal(), ElementsAre(imageUnreadable())) << size;
    }
}

TEST_F(SoftwareLoader, RefusesAFileWhoseImageCannotBeRead)
{
    write(goodFile);
    EXPECT_THAT(refusal({CallEffect::atMost(10), CallEffect::failing(EIO)}),
                ElementsAre(imageUnreadable()));
}

TEST_F(SoftwareLoader, RefusesAWrongChecksum)
{
    std::string image = goodFile.image();
    image.back() = static_cast<char>(image.back() ^ 1);
    write(image);
    EXPECT_THAT(refusal(), ElementsAre(corrupted()));
}

TEST_F(SoftwareLoader, RefusesAChangeBetweenTheRecordsAndTheEndOfTheCoveredBytes)
{
    const std::string image = goodFile.image();
    for (std::size_t offset = image.size() - 14; offset < image.size() - 4; ++offset) {
        std::string changed = image;
        changed[offset] = 'x';
        write(changed);
        EXPECT_THAT(refusal(), ElementsAre(corrupted())) << offset;
    }
}

TEST_F(SoftwareLoader, RefusesALengthWhoseTotalWraps)
{
    // The total of 32 bits is then 0 to 13 bytes, which the file has.
    for (std::uint32_t length = 0xFFFFFFF2; length != 0; ++length) {
        write(claiming(length, goodFile.image()));
        EXPECT_THAT(refusal(), ElementsAre(corrupted())) << length;
    }
}

TEST_F(SoftwareLoader, CanLoadAfterAFailure)
{
    EXPECT_FALSE(container.loadSwDb(path));
    write(goodFile);
    EXPECT_TRUE(container.loadSwDb(path));
    EXPECT_FALSE(isEmpty());
}

TEST_F(SoftwareLoader, DoesTheSameWithoutASessionThatRecords)
{
    EXPECT_FALSE(container.loadSwDb(path));
    write(goodFile.image().substr(0, 12));
    EXPECT_FALSE(container.loadSwDb(path));
    write(goodFile);
    EXPECT_TRUE(container.loadSwDb(path));
}

} // namespace
} // namespace Varnix::Backend

#include "tools/varnix/fileCache.h"

#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <gtest/gtest.h>

namespace Varnix::Test {
namespace {

using Tool::FileCache;

class Cache : public testing::Test
{
protected:
    std::string fileWith(std::uint16_t gain) const
    {
        const std::string path = m_directory / std::to_string(gain);
        DbBuilder().u16("/gain", {gain}).write(path);
        return path;
    }

    std::string fileOf(std::size_t size) const
    {
        const std::string path = m_directory / ("of" + std::to_string(size));
        const std::size_t rest = size - DbBuilder().text("/text", "").image().size();
        DbBuilder().text("/text", std::string(rest, 'x')).write(path);
        EXPECT_EQ(std::filesystem::file_size(path), size);
        return path;
    }

private:
    const TemporaryDirectory m_directory;
};

TEST_F(Cache, JudgesEqualFilesOnce)
{
    FileCache cache({});
    const std::string one = fileWith(1);
    const std::string same = one + ".copy";
    std::filesystem::copy_file(one, same);
    EXPECT_EQ(cache.read(one).content, cache.read(same).content);
    EXPECT_NE(cache.read(one).content, cache.read(fileWith(2)).content);
}

TEST_F(Cache, DoesNotGrowWithTheNumberOfSmallFiles)
{
    FileCache cache({}, 8192);
    const std::string oldest = fileWith(1);
    const auto content = cache.read(oldest).content;
    for (std::uint16_t gain = 2; gain <= 3; ++gain)
        cache.read(fileWith(gain));
    EXPECT_NE(cache.read(oldest).content, content);
}

TEST_F(Cache, KeepsWhatWasReadLastUpToItsSize)
{
    FileCache cache({}, 8192);
    const std::string first = fileWith(1);
    const std::string second = fileWith(2);
    const auto ofFirst = cache.read(first).content;
    const auto ofSecond = cache.read(second).content;
    EXPECT_EQ(cache.read(first).content, ofFirst);
    cache.read(fileWith(3));
    EXPECT_EQ(cache.read(first).content, ofFirst);
    EXPECT_NE(cache.read(second).content, ofSecond);
}

TEST_F(Cache, CountsASmallFileAsFourKilobytes)
{
    FileCache cache({}, 8191);
    const std::string first = fileWith(1);
    const auto content = cache.read(first).content;
    EXPECT_EQ(cache.read(first).content, content);
    cache.read(fileWith(2));
    EXPECT_NE(cache.read(first).content, content);
}

TEST_F(Cache, KeepsAFileOfItsOwnSizeAndNoneThatIsLarger)
{
    constexpr std::size_t size = 5000;
    FileCache cache({}, size);
    const std::string whole = fileOf(size);
    const auto content = cache.read(whole).content;
    EXPECT_EQ(cache.read(whole).content, content);
    const std::string larger = fileOf(size + 1);
    EXPECT_NE(cache.read(larger).content, cache.read(larger).content);
    EXPECT_EQ(cache.read(whole).content, content);
}

TEST_F(Cache, SaysWhyAFileCannotBeRead)
{
    FileCache cache({});
    const std::string absent = fileWith(1) + ".absent";
    EXPECT_EQ(cache.read(absent).problem, "cannot open " + absent + ": No such file or directory");
    const std::string large = fileWith(2);
    std::filesystem::resize_file(large, FileCache::maxFileSize + 1);
    EXPECT_EQ(cache.read(large).problem, "cannot read " + large + ": it is too large");
    const std::string directory = fileWith(3) + ".directory";
    std::filesystem::create_directory(directory);
    EXPECT_EQ(cache.read(directory).problem,
              "cannot read " + directory + ": it is not a regular file");
}

} // namespace
} // namespace Varnix::Test

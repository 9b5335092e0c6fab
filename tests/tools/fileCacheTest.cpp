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

} // namespace
} // namespace Varnix::Test

#include "regularFile.h"

#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Varnix::Test {
namespace {

using Backend::readRegularFile;
using Backend::ReadResult;

class RegularFile : public testing::Test
{
protected:
    std::string path(const char* name) const { return (m_directory / name).string(); }

    /** What is made of a file that is read after other content. */
    static ReadResult read(const std::string& path, std::size_t maxSize = 100)
    {
        m_content = "before ";
        return readRegularFile(path, maxSize, m_content);
    }

    static inline std::string m_content;

private:
    const TemporaryDirectory m_directory;
};

TEST_F(RegularFile, IsAppendedToWhatThereIs)
{
    writeFile(path("file"), "content");
    EXPECT_EQ(read(path("file")), ReadResult::READ);
    EXPECT_EQ(m_content, "before content");
}

TEST_F(RegularFile, OfTheLargestSizeIsReadAndOneByteMoreIsTooLarge)
{
    const std::string large(5000, 'x');
    writeFile(path("file"), large);
    EXPECT_EQ(read(path("file"), large.size()), ReadResult::READ);
    EXPECT_EQ(m_content, "before " + large);
    EXPECT_EQ(read(path("file"), large.size() - 1), ReadResult::TOO_LARGE);
}

TEST_F(RegularFile, NothingElseIsReadOrWaitedFor)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    for (const std::string& other : {path("pipe"), path("."), std::string("/dev/null")})
        EXPECT_EQ(read(other), ReadResult::NOT_READABLE) << other;
    EXPECT_EQ(read(path("missing")), ReadResult::NOT_OPENED);
    EXPECT_EQ(m_content, "before ");
}

} // namespace
} // namespace Varnix::Test

#include "recording/fileWatch.h"

#include "tests/support/temporaryDirectory.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <poll.h>

namespace Varnix::Recording {
namespace {

namespace fs = std::filesystem;

/** Whether something has been written since the last acknowledgement. */
bool hasNews(const FileWatch& watch)
{
    pollfd polled{watch.fd(), POLLIN, 0};
    return ::poll(&polled, 1, 0) == 1;
}

TEST(RecordingFileWatch, SeesWhatIsWrittenAlsoInDirectoriesThatComeLater)
{
    const Varnix::Test::TemporaryDirectory directory;
    FileWatch watch(directory.path());
    EXPECT_FALSE(hasNews(watch));
    const fs::path later = directory / "a" / "b";
    fs::create_directories(later);
    EXPECT_TRUE(hasNews(watch));
    watch.acknowledge();
    EXPECT_FALSE(hasNews(watch));
    std::ofstream(later / "file") << "text";
    EXPECT_TRUE(hasNews(watch));
}

} // namespace
} // namespace Varnix::Recording

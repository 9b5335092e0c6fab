#include "recording/directory.h"

#include "tests/support/temporaryDirectory.h"

#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace Varnix::Recording {
namespace {

namespace fs = std::filesystem;

/** Has a temporary directory of its own for everything. */
class RecordingDirectory : public testing::Test
{
protected:
    RecordingDirectory() { ::setenv("TMPDIR", m_all.path().c_str(), 1); }
    ~RecordingDirectory() override { ::unsetenv("TMPDIR"); }

    /** A directory as a process that died left it. */
    fs::path leave(const std::string& name) const
    {
        fs::create_directories(m_all / name / "within");
        return m_all / name;
    }

    const Varnix::Test::TemporaryDirectory m_all;
};

TEST_F(RecordingDirectory, GoesWithItsObject)
{
    std::optional<Directory> directory(std::in_place, "some-");
    const fs::path path = directory->path();
    fs::create_directory(path / "within");
    directory.reset();
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(RecordingDirectory, InUseIsNoOrphan)
{
    const Directory directory("some-");
    EXPECT_FALSE(isOrphan(directory.path(), "some-"));
    removeOrphans("some-");
    EXPECT_TRUE(fs::exists(directory.path()));
}

TEST_F(RecordingDirectory, OfADeadProcessIsRemovedWithWhatIsInIt)
{
    const fs::path path = leave("some-17-AbCd12");
    EXPECT_TRUE(isOrphan(path, "some-"));
    removeOrphans("some-");
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(RecordingDirectory, ThatIsGoneIsAnOrphan)
{
    EXPECT_TRUE(isOrphan(m_all / "some-17-AbCd12", "some-"));
    EXPECT_FALSE(isOrphan(m_all / "some-17", "some-"));
}

TEST_F(RecordingDirectory, OfAnotherNameIsNobodysOrphan)
{
    for (const char* const name : {"some-AbCd12", "some-17", "some-17-", "some-17-AbCd123",
                                   "some--AbCd12", "some-other-17-AbCd12", "other-17-AbCd12"}) {
        const fs::path path = leave(name);
        EXPECT_FALSE(isOrphan(path, "some-")) << name;
        removeOrphans("some-");
        EXPECT_TRUE(fs::exists(path)) << name;
    }
}

TEST_F(RecordingDirectory, OfAnotherUserIsLeftAlone)
{
    const fs::path path = leave("some-17-AbCd12");
    // Only root can give it away; who cannot keeps it as its own.
    const bool isOwn = ::chown(path.c_str(), 65534, 65534) != 0;
    EXPECT_EQ(isOrphan(path, "some-"), isOwn);
    removeOrphans("some-");
    EXPECT_EQ(fs::exists(path / "within"), !isOwn);
}

TEST_F(RecordingDirectory, ThatIsALinkOrAFileIsLeftAlone)
{
    const fs::path target = leave("target");
    fs::create_directory_symlink(target, m_all / "some-17-AbCd12");
    std::ofstream(m_all / "some-18-AbCd12") << "";
    for (const char* const name : {"some-17-AbCd12", "some-18-AbCd12"})
        EXPECT_FALSE(isOrphan(m_all / name, "some-")) << name;
    removeOrphans("some-");
    EXPECT_TRUE(fs::exists(target / "within"));
    EXPECT_TRUE(fs::exists(m_all / "some-18-AbCd12"));
}

} // namespace
} // namespace Varnix::Recording

#include "dbfile/fileIo.h"

#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace Varnix::DbFile {
namespace {

namespace fs = std::filesystem;
using Test::readFile;
using Test::TemporaryDirectory;
using Test::writeFile;
using testing::HasSubstr;

template <typename Action>
std::string errorOf(Action action)
{
    try {
        action();
    } catch (const FileError& error) {
        return error.what();
    }
    return "no error";
}

class FileIo : public testing::Test
{
protected:
    std::string read(const fs::path& path)
    {
        return errorOf([&] { static_cast<void>(readWholeFile(path)); });
    }

    std::string replace(const fs::path& path, std::string_view content = "new")
    {
        return errorOf([&] { replaceFile(path, content); });
    }

    std::ptrdiff_t files() const
    {
        return std::distance(fs::directory_iterator(m_directory.path()), {});
    }

    const TemporaryDirectory m_directory;
    const fs::path m_path = m_directory / "file";
};

TEST_F(FileIo, ReadGivesEveryByte)
{
    const std::string content(200000, '\xA5');
    writeFile(m_path, content);
    EXPECT_EQ(readWholeFile(m_path), content);
}

TEST_F(FileIo, AbsentFileCannotBeOpened)
{
    EXPECT_EQ(read(m_path), "cannot open " + m_path.string() + ": No such file or directory");
}

TEST_F(FileIo, DirectoryCannotBeRead)
{
    EXPECT_EQ(read(m_directory.path()),
              "cannot read " + m_directory.path().string() + ": it is a directory");
}

TEST_F(FileIo, EndlessDeviceIsRefused)
{
    EXPECT_THAT(read("/dev/zero"), HasSubstr("it is neither a file nor a pipe"));
}

TEST_F(FileIo, PipeWithoutAWriterIsEmpty)
{
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_EQ(readWholeFile(m_path), "");
}

TEST_F(FileIo, ReplaceMakesANewFileWithTheModeOfTheUmask)
{
    const mode_t umask = ::umask(027);
    EXPECT_EQ(replace(m_path), "no error");
    ::umask(umask);
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(fs::status(m_path).permissions(), fs::perms(0640));
    EXPECT_EQ(files(), 1);
}

TEST_F(FileIo, ReplaceFollowsASymbolicLink)
{
    writeFile(m_path, "old");
    fs::create_symlink(m_path, m_directory / "link");
    EXPECT_EQ(replace(m_directory / "link"), "no error");
    EXPECT_TRUE(fs::is_symlink(m_directory / "link"));
    EXPECT_EQ(readFile(m_path), "new");
}

TEST_F(FileIo, ReplaceDoesNotTouchWhatOthersHaveOpen)
{
    writeFile(m_path, "old");
    fs::create_hard_link(m_path, m_directory / "same");
    EXPECT_EQ(replace(m_path), "no error");
    EXPECT_EQ(readFile(m_directory / "same"), "old");
}

TEST_F(FileIo, ReplaceRefusesDirectoriesAndDevices)
{
    EXPECT_THAT(replace(m_directory.path()), HasSubstr("it is a directory"));
    EXPECT_EQ(replace("/dev/null"), "cannot write /dev/null: it is not a regular file");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(FileIo, ReplaceInAnAbsentDirectorySaysSo)
{
    EXPECT_THAT(replace(m_directory / "absent" / "file"), HasSubstr("No such file or directory"));
}

TEST_F(FileIo, FailedReplaceLeavesTheOldFileAndNothingElse)
{
    writeFile(m_path, "old");
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{.rlim_cur = 4096, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string error = replace(m_path, std::string(100000, 'x'));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(error, "cannot write " + m_path.string() + ": File too large");
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

} // namespace
} // namespace Varnix::DbFile

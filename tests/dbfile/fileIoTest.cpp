#include "dbfile/fileIo.h"

#include "dbfile/descriptor.h"
#include "dbfile/temporaryFile.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/processState.h"
#include "tests/support/temporaryDirectory.h"
#include "tests/support/waitUntil.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Varnix::DbFile {
namespace {

namespace fs = std::filesystem;
using Test::isAsleep;
using Test::readFile;
using Test::TemporaryDirectory;
using Test::waitUntil;
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
    EXPECT_EQ(read("/dev/zero"), "cannot read /dev/zero: it is neither a file nor a pipe");
}

TEST_F(FileIo, PipeWithoutAWriterIsEmpty)
{
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_EQ(readWholeFile(m_path), "");
}

TEST_F(FileIo, PipeWhoseWriterIsLateIsWaitedFor)
{
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    const int writer = ::open(m_path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    std::atomic<pid_t> id{0};
    std::atomic<bool> done{false};
    std::string got;
    std::thread reader([&] {
        id = ::gettid();
        const std::string error = errorOf([&] { got = readWholeFile(m_path); });
        if (error != "no error")
            got = error;
        done = true;
    });
    int looks = 0; // at a thread that sleeps: it has come to its read
    EXPECT_TRUE(waitUntil([&] {
        looks = id != 0 && isAsleep(id) ? looks + 1 : 0;
        return done || looks == 50;
    }));
    EXPECT_FALSE(done);
    EXPECT_EQ(::write(writer, "late", 4), 4);
    ::close(writer);
    reader.join();
    EXPECT_EQ(got, "late");
}

TEST(Descriptor, IsClosedOnceAlsoTheFirstOfAProcess)
{
    const int kept = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    ASSERT_GT(kept, STDIN_FILENO);
    ASSERT_EQ(::dup2(kept, STDIN_FILENO), STDIN_FILENO);
    Descriptor given(STDIN_FILENO);
    EXPECT_TRUE(given.isOpen());
    Descriptor first(std::move(given));
    EXPECT_EQ(first.get(), STDIN_FILENO);
    EXPECT_FALSE(given.isOpen()) << "it has been moved";
    EXPECT_TRUE(first.close());
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    EXPECT_FALSE(first.isOpen());
    EXPECT_TRUE(first.close());
    EXPECT_EQ(::dup2(kept, STDIN_FILENO), STDIN_FILENO);
    ::close(kept);
}

TEST_F(FileIo, ReplaceMakesANewFileWithTheModeOfTheUmask)
{
    for (const auto& [mask, mode] :
         {std::pair{mode_t{027}, fs::perms(0640)}, {0, fs::perms(0666)}}) {
        fs::remove(m_path);
        const mode_t umask = ::umask(mask);
        EXPECT_EQ(replace(m_path), "no error");
        ::umask(umask);
        EXPECT_EQ(readFile(m_path), "new");
        EXPECT_EQ(fs::status(m_path).permissions(), mode);
        EXPECT_EQ(files(), 1);
    }
}

TEST_F(FileIo, ReplaceFollowsASymbolicLink)
{
    writeFile(m_path, "old");
    fs::create_symlink(m_path, m_directory / "link");
    EXPECT_EQ(replace(m_directory / "link"), "no error");
    EXPECT_TRUE(fs::is_symlink(m_directory / "link"));
    EXPECT_EQ(readFile(m_path), "new");
}

TEST_F(FileIo, ReplaceThroughADanglingLinkMakesTheFileThatItNames)
{
    fs::create_directory(m_directory / "sub");
    fs::create_symlink("sub/second", m_directory / "first");
    fs::create_symlink("../file", m_directory / "sub" / "second");
    EXPECT_EQ(replace(m_directory / "first"), "no error");
    EXPECT_TRUE(fs::is_symlink(m_directory / "first"));
    EXPECT_TRUE(fs::is_symlink(m_directory / "sub" / "second"));
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_FALSE(fs::is_symlink(m_path));
}

TEST_F(FileIo, ReplaceThroughALoopOfLinksIsRefused)
{
    fs::create_symlink("two", m_directory / "one");
    fs::create_symlink("one", m_directory / "two");
    EXPECT_EQ(replace(m_directory / "one"), "cannot write " + (m_directory / "one").string() +
                                                ": Too many levels of symbolic links");
    EXPECT_EQ(files(), 2);
}

TEST_F(FileIo, ReplaceFollowsAsManyLinksAsTheKernel)
{
    constexpr int most = 40;
    fs::path last = m_path;
    for (int i = 1; i <= most + 1; ++i) {
        const fs::path link = m_directory / std::to_string(i);
        fs::create_symlink(last, link);
        last = link;
    }
    EXPECT_EQ(replace(m_directory / std::to_string(most)), "no error");
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(readFile(m_directory / std::to_string(most)), "new") << "the kernel follows it too";
    EXPECT_THAT(replace(last, "other"), HasSubstr(": Too many levels of symbolic links"));
    EXPECT_EQ(readFile(m_path), "new");
}

TEST_F(FileIo, ReplaceKeepsModeAndOwner)
{
    writeFile(m_path, "old");
    const bool isRoot = ::geteuid() == 0;
    const bool isChanged = isRoot && ::chown(m_path.c_str(), 1234, 4321) == 0;
    ASSERT_EQ(isChanged, isRoot);
    ASSERT_EQ(::chmod(m_path.c_str(), 02751), 0);
    const mode_t umask = ::umask(077);
    EXPECT_EQ(replace(m_path), "no error");
    ::umask(umask);
    struct stat status = {};
    ASSERT_EQ(::stat(m_path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 02751U);
    EXPECT_EQ(status.st_uid, isRoot ? 1234 : ::geteuid());
    EXPECT_EQ(status.st_gid, isRoot ? 4321 : ::getegid());
    EXPECT_EQ(readFile(m_path), "new");
}

TEST_F(FileIo, ReplaceRemovesWhatAKilledProcessLeft)
{
    const fs::path left = m_directory / ".varnix-1-0.tmp";
    writeFile(left, "half");
    writeFile(m_directory / "varnix-1-0.tmp", "");
    writeFile(m_directory / ".varnix-1", "");
    fs::create_directory(m_directory / ".varnix-2-0.tmp");
    ASSERT_EQ(::mkfifo((m_directory / ".varnix-3-0.tmp").c_str(), 0600), 0);
    fs::create_symlink("varnix-1-0.tmp", m_directory / ".varnix-4-0.tmp");
    EXPECT_EQ(replace(m_path), "no error");
    EXPECT_FALSE(fs::exists(left));
    EXPECT_EQ(files(), 6);
}

TEST_F(FileIo, ReplaceLeavesFilesThatAreNamedOnlyAlmostLikeItsOwn)
{
    const std::vector<std::string> names = {
        ".varnix-notes.tmp", ".varnix-1.tmp",     ".varnix-1-.tmp", ".varnix--1.tmp",
        ".varnix-1-x.tmp",   ".varnix-1-2-3.tmp", ".varnix-.tmp",   ".varnix-x-1.tmp"};
    for (const std::string& name : names)
        writeFile(m_directory / name, "somebody's");
    EXPECT_EQ(replace(m_path), "no error");
    for (const std::string& name : names)
        EXPECT_EQ(readFile(m_directory / name), "somebody's");
}

TEST_F(FileIo, ReplaceLeavesTheTemporaryFileOfARunningProcess)
{
    TemporaryFile running;
    ASSERT_EQ(running.create(m_directory.path(), 0600), 0);
    EXPECT_EQ(replace(m_path), "no error");
    EXPECT_EQ(files(), 2);
    EXPECT_EQ(running.write("whole"), 0);
    EXPECT_EQ(replace(m_path, "newer"), "no error");
    EXPECT_EQ(files(), 2); // also one that is written and not yet renamed
    EXPECT_EQ(running.rename(m_directory / "other"), 0);
    EXPECT_EQ(readFile(m_directory / "other"), "whole");
    EXPECT_EQ(readFile(m_path), "newer");
}

TEST_F(FileIo, ErrorsShowPathsWithoutControlCharacters)
{
    EXPECT_EQ(read("a\n\033[2J"), R"(cannot open a\n\x1b[2J: No such file or directory)");
    EXPECT_EQ(replace("a\nb/\033"), R"(cannot write a\nb/\x1b: No such file or directory)");
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

TEST_F(FileIo, ReplaceLeavesTheSignalOfTheSizeLimitAsItWas)
{
    auto* const before = ::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(replace(m_path), "no error");
    EXPECT_EQ(::signal(SIGXFSZ, before), SIG_DFL);
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

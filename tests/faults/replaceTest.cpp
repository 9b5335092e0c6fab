#include "callFailure.h"
#include "dbfile/fileIo.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::DbFile {
namespace {

namespace fs = std::filesystem;
using Test::CallEffect;
using Test::CallFailure;
using Test::LargeAllocation;
using Test::readFile;
using Test::TemporaryDirectory;
using Test::writeFile;

class ReplaceFault : public testing::Test
{
protected:
    ReplaceFault() { writeFile(m_path, "old"); }

    /** Its error; an allocation between a failure and the message must not change the reason. */
    std::string replace() const
    {
        const LargeAllocation all(0, CallEffect::leaving(ENOENT));
        try {
            replaceFile(m_path, "new");
        } catch (const FileError& error) {
            return error.what();
        }
        return "no error";
    }

    /** The same with a failing call: the `nth` of that name, from 0. */
    std::string replaceWithout(const std::string& call, std::size_t nth, int error = EIO) const
    {
        const CallFailure failure(call, CallEffect::failing(error), nth);
        std::string result = replace();
        EXPECT_TRUE(failure.struck());
        return result;
    }

    std::ptrdiff_t files() const
    {
        return std::distance(fs::directory_iterator(m_directory.path()), {});
    }

    const TemporaryDirectory m_directory;
    const fs::path m_path = m_directory / "file";
};

TEST_F(ReplaceFault, FlushesTheFileRenamesItAndFlushesTheDirectory)
{
    for (const auto& [call, count] : {std::pair("fsync", 2U), std::pair("rename", 1U)}) {
        const CallFailure calls(call, CallEffect::ordinary(), 0);
        EXPECT_EQ(replace(), "no error");
        EXPECT_EQ(calls.asked(), count) << call;
    }
}

TEST_F(ReplaceFault, FileThatIsNotFlushedIsNotPutInPlace)
{
    EXPECT_THAT(replaceWithout("fsync", 0), testing::HasSubstr("Input/output error"));
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, FailedRenameLeavesTheOldFile)
{
    EXPECT_EQ(replaceWithout("rename", 0),
              "cannot write " + m_path.string() + ": Input/output error");
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, DirectoryThatIsNotFlushedIsReportedWithTheNewFileInPlace)
{
    EXPECT_EQ(replaceWithout("fsync", 1),
              "cannot write " + m_directory.path().string() + ": Input/output error");
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, DirectoryThatCannotBeFlushedIsNoFailure)
{
    EXPECT_EQ(replaceWithout("fsync", 1, EINVAL), "no error");
    // Of a file it is one.
    EXPECT_EQ(replaceWithout("fsync", 0, EINVAL),
              "cannot write " + m_path.string() + ": Invalid argument");
}

TEST_F(ReplaceFault, ReadThatFailsIsNamedByItsOwnReason)
{
    const LargeAllocation all(0, CallEffect::leaving(ENOENT));
    try {
        readWholeFile("/proc/self/mem");
        ADD_FAILURE() << "it was read";
    } catch (const FileError& error) {
        EXPECT_STREQ(error.what(), "cannot read /proc/self/mem: Input/output error");
    }
}

TEST_F(ReplaceFault, SignalThatEndsTheProcessLeavesNoTemporaryFile)
{
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const CallFailure signals("fsync", CallEffect::raising(SIGTERM), 0, CallFailure::all);
        replaceFile(m_path, "new");
        ::_exit(0);
    }
    int ending = 0;
    ASSERT_EQ(::waitpid(child, &ending, 0), child);
    ASSERT_TRUE(WIFSIGNALED(ending));
    EXPECT_EQ(WTERMSIG(ending), SIGTERM);
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(files(), 1);
}

} // namespace
} // namespace Varnix::DbFile

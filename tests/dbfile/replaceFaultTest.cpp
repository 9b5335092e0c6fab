#include "dbfile/fileIo.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** What happens in the next call that makes a file safe; each test sets its own. */
int failingCall = 0;
int failure = EIO;
bool allocationsChangeErrno = false;
bool raisesSignal = false;
int calls = 0;

bool thisCallFails()
{
    if (raisesSignal)
        ::raise(SIGTERM);
    if (++calls != failingCall)
        return false;
    errno = failure;
    return true;
}

} // namespace

// The program's own functions stand before the C library's. Inlined, the two halves of an
// allocation would look mismatched to the compiler.

[[gnu::noinline]] void* operator new(std::size_t size)
{
    void* const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    if (allocationsChangeErrno)
        errno = ENOENT;
    return memory;
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size);
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

extern "C" int fsync(int fd)
{
    return thisCallFails() ? -1 : static_cast<int>(::syscall(SYS_fsync, fd));
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    return thisCallFails()
               ? -1
               : static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

namespace Varnix::DbFile {
namespace {

namespace fs = std::filesystem;
using Test::readFile;
using Test::TemporaryDirectory;
using Test::writeFile;

class ReplaceFault : public testing::Test
{
protected:
    ReplaceFault()
    {
        failingCall = 0;
        failure = EIO;
        allocationsChangeErrno = false;
        raisesSignal = false;
        calls = 0;
        writeFile(m_path, "old");
    }

    std::string replace() const
    {
        try {
            allocationsChangeErrno = true;
            replaceFile(m_path, "new");
            allocationsChangeErrno = false;
        } catch (const FileError& error) {
            allocationsChangeErrno = false;
            return error.what();
        }
        return "no error";
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
    EXPECT_EQ(replace(), "no error");
    EXPECT_EQ(calls, 3);
}

TEST_F(ReplaceFault, FileThatIsNotFlushedIsNotPutInPlace)
{
    failingCall = 1;
    EXPECT_THAT(replace(), testing::HasSubstr("Input/output error"));
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, FailedRenameLeavesTheOldFile)
{
    failingCall = 2;
    EXPECT_EQ(replace(), "cannot write " + m_path.string() + ": Input/output error");
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, DirectoryThatIsNotFlushedIsReportedWithTheNewFileInPlace)
{
    failingCall = 3;
    EXPECT_EQ(replace(), "cannot write " + m_directory.path().string() + ": Input/output error");
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, DirectoryThatCannotBeFlushedIsNoFailure)
{
    failingCall = 3;
    failure = EINVAL;
    EXPECT_EQ(replace(), "no error");
    EXPECT_EQ(calls, 3);
    failingCall = 1; // of a file it is one
    calls = 0;
    EXPECT_EQ(replace(), "cannot write " + m_path.string() + ": Invalid argument");
}

TEST_F(ReplaceFault, ReadThatFailsIsNamedByItsOwnReason)
{
    try {
        allocationsChangeErrno = true;
        readWholeFile("/proc/self/mem");
        ADD_FAILURE() << "it was read";
    } catch (const FileError& error) {
        EXPECT_STREQ(error.what(), "cannot read /proc/self/mem: Input/output error");
    }
    allocationsChangeErrno = false;
}

TEST_F(ReplaceFault, SignalThatEndsTheProcessLeavesNoTemporaryFile)
{
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        raisesSignal = true;
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

#include "callFailure.h"
#include "dbfile/fileIo.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
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

/** While it lives, the thread handles a signal before each call of a function of the C library. */
class BeforeCalls
{
public:
    BeforeCalls(const std::string& call, void (*handle)(int), std::size_t count = CallFailure::all)
        : m_calls(call, CallEffect::raising(SIGUSR1), 0, count)
    {
        ::signal(SIGUSR1, handle);
    }
    ~BeforeCalls() { ::signal(SIGUSR1, SIG_DFL); }
    BeforeCalls(const BeforeCalls&) = delete;
    BeforeCalls& operator=(const BeforeCalls&) = delete;

    std::size_t asked() const noexcept { return m_calls.asked(); }

private:
    CallFailure m_calls;
};

constexpr int mostDescriptors = 256;

/** How many descriptors another program would get. */
int inheritedDescriptors()
{
    int count = 0;
    for (int fd = 0; fd < mostDescriptors; ++fd) {
        const int flags = ::fcntl(fd, F_GETFD);
        count += flags >= 0 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
    }
    return count;
}

std::atomic<int> mostInherited = 0;

void seeInherited(int)
{
    const int kept = errno;
    mostInherited = std::max(mostInherited.load(), inheritedDescriptors());
    errno = kept;
}

/** Has the path and the descriptor of the temporary file that is open. */
struct Temporary
{
    Temporary()
    {
        for (fd = mostDescriptors - 1; fd > STDERR_FILENO; --fd) {
            std::array<char, 32> link{};
            std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", fd);
            path.fill('\0');
            if (::readlink(link.data(), path.data(), path.size() - 1) > 0 &&
                std::strstr(path.data(), "/.varnix-") != nullptr)
                return;
        }
    }

    int fd = -1;
    std::array<char, 4096> path{};
};

std::atomic<mode_t> modeOfTemporary = 0;

void seeMode(int)
{
    const int kept = errno;
    struct stat status = {};
    ::fstat(Temporary().fd, &status);
    modeOfTemporary = status.st_mode;
    errno = kept;
}

void removeTemporary(int)
{
    const int kept = errno;
    ::unlink(Temporary().path.data());
    errno = kept;
}

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

TEST_F(ReplaceFault, FileThatIsNotClosedWellIsNotPutInPlace)
{
    EXPECT_EQ(replaceWithout("close", 0),
              "cannot write " + m_path.string() + ": Input/output error");
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, OwnerThatCannotBeKeptIsAnError)
{
    EXPECT_EQ(replaceWithout("fchown", 0, EPERM),
              "cannot write " + m_path.string() +
                  ": its owner and mode cannot be kept: Operation not permitted");
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, WriteThatTakesLessThanItWasGivenGoesOn)
{
    for (const CallEffect& effect :
         {CallEffect::atMost(2), CallEffect::nothing(), CallEffect::failing(EINTR)}) {
        writeFile(m_path, "old");
        const CallFailure writes("write", effect, 0);
        EXPECT_EQ(replace(), "no error");
        EXPECT_TRUE(writes.struck());
        EXPECT_EQ(readFile(m_path), "new");
    }
}

TEST_F(ReplaceFault, WriteThatFailsLeavesTheOldFile)
{
    EXPECT_EQ(replaceWithout("write", 0, ENOSPC),
              "cannot write " + m_path.string() + ": No space left on device");
    EXPECT_EQ(readFile(m_path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, FileThatSomebodyElseHasLockedIsMadeAnew)
{
    const CallFailure locks("flock", CallEffect::failing(EWOULDBLOCK), 0);
    replaceFile(m_path, "new");
    EXPECT_EQ(locks.asked(), 2U);
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, FileThatSomebodyElseHasRemovedIsMadeAnew)
{
    const BeforeCalls locks("flock", removeTemporary, 1);
    EXPECT_EQ(replace(), "no error");
    EXPECT_EQ(locks.asked(), 2U);
    EXPECT_EQ(readFile(m_path), "new");
    EXPECT_EQ(files(), 1);
}

TEST_F(ReplaceFault, FileSystemWithoutLocksTakesAFileToo)
{
    const CallFailure locks("flock", CallEffect::failing(ENOLCK), 0);
    EXPECT_EQ(replace(), "no error");
    EXPECT_EQ(locks.asked(), 1U);
    EXPECT_EQ(readFile(m_path), "new");
}

TEST_F(ReplaceFault, NewContentIsNobodyElsesToReadBeforeItHasTheOldMode)
{
    const mode_t umask = ::umask(0);
    const BeforeCalls locks("flock", seeMode);
    EXPECT_EQ(replace(), "no error");
    ::umask(umask);
    EXPECT_TRUE(S_ISREG(modeOfTemporary));
    EXPECT_EQ(modeOfTemporary & 077U, 0U);
}

TEST_F(ReplaceFault, NoOtherProgramGetsAnOpenFile)
{
    mostInherited = 0;
    const int before = inheritedDescriptors();
    for (const auto& [call, count] : {std::pair("flock", 2U), std::pair("fsync", 2U)}) {
        writeFile(m_directory / ".varnix-1-0.tmp", "");
        const BeforeCalls calls(call, seeInherited);
        EXPECT_EQ(replace(), "no error");
        EXPECT_EQ(calls.asked(), count) << call;
    }
    const BeforeCalls reads("read", seeInherited);
    EXPECT_EQ(readWholeFile(m_path), "new");
    EXPECT_EQ(reads.asked(), 2U);
    EXPECT_EQ(mostInherited, before);
}

TEST_F(ReplaceFault, ReadThatIsInterruptedGoesOn)
{
    const CallFailure reads("read", CallEffect::failing(EINTR), 0);
    EXPECT_EQ(readWholeFile(m_path), "old");
    EXPECT_TRUE(reads.struck());
}

TEST_F(ReplaceFault, FileThatCannotBeLookedAtIsNotRead)
{
    const CallFailure looks("fstat", CallEffect::failing(EIO), 0);
    try {
        readWholeFile(m_path);
        ADD_FAILURE() << "it was read";
    } catch (const FileError& error) {
        EXPECT_EQ(error.what(), "cannot read " + m_path.string() + ": Input/output error");
    }
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

TEST_F(ReplaceFault, FileThatCannotBeLookedAtIsNotReplaced)
{
    const CallFailure looks("stat", CallEffect::failing(EIO), 0);
    EXPECT_EQ(replace(), "cannot write " + m_path.string() + ": Input/output error");
    EXPECT_TRUE(looks.struck());
    EXPECT_EQ(readFile(m_path), "old");
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

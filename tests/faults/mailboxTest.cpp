#include "callFailure.h"
#include "child.h"
#include "mailboxRound.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>

namespace Varnix::Test {
namespace {

std::size_t openDescriptors()
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

/** What a process holds. */
struct Held
{
    std::size_t blocks = 0;
    std::size_t descriptors = 0;
    bool operator==(const Held&) const = default;
};

/** What cases learn in processes of their own and say to the test. */
struct Shared
{
    Held afterTwoRounds;
    bool struck = true;
};

class MailboxFault : public testing::Test
{
protected:
    MailboxFault()
        : m_shared(static_cast<Shared*>(::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                               MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        ::setenv("VARNIX_ITC_DIR", (m_directory / "itc").c_str(), 1);
        m_server = startChild([] {
            ::alarm(0);
            serve();
        });
        inChild("without a fault", [&] {
            const Held start{liveBlocks(AllocationScope::PROCESS), openDescriptors()};
            expectWhole(round(patient));
            expectWhole(round(patient));
            m_shared->afterTwoRounds = heldSince(start);
        });
    }
    ~MailboxFault() override
    {
        ::kill(m_server, SIGKILL);
        ::waitpid(m_server, nullptr, 0);
        ::munmap(m_shared, sizeof(Shared));
    }

    static void expectWhole(const Round& round)
    {
        EXPECT_EQ(round.done, Round::steps);
        EXPECT_FALSE(round.busy);
    }

    void sayIntoFile() const
    {
        const int file = ::open(m_said.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        ::dup2(file, STDERR_FILENO);
        ::close(file);
    }

    /** Counted from `start` on. */
    static Held heldSince(const Held& start)
    {
        return {liveBlocks(AllocationScope::PROCESS) - start.blocks,
                openDescriptors() - start.descriptors};
    }

    /** A round under a fault, then one that must go well. Returns whether anything failed. */
    template <typename Failure, typename... Arguments>
    bool faultAndRecovery(const std::string& what, Arguments... arguments)
    {
        inChild(what, [&] {
            sayIntoFile();
            const Held start{liveBlocks(AllocationScope::PROCESS), openDescriptors()};
            bool busy = false;
            {
                const Failure failure(arguments...);
                busy = round(impatient).busy;
                m_shared->struck = failure.struck();
            }
            const Round recovery = round(patient);
            const Held now = heldSince(start);
            const testing::ScopedTrace trace(__FILE__, __LINE__, what);
            EXPECT_FALSE(busy);
            expectWhole(recovery);
            EXPECT_EQ(now.descriptors, m_shared->afterTwoRounds.descriptors);
            EXPECT_EQ(now.blocks, m_shared->afterTwoRounds.blocks);
        });
        if (HasFailure())
            std::fputs(readFile(m_said).c_str(), stderr);
        m_failures += m_shared->struck ? 1U : 0U;
        return m_shared->struck && !HasFailure();
    }

    /** What the children said since it was asked last. */
    std::string takeSaid() const
    {
        const std::string text = readFile(m_said);
        writeFile(m_said, "");
        return std::regex_replace(text, std::regex((m_directory / "itc").native()), "DIR");
    }

    const TemporaryDirectory m_directory;
    const std::filesystem::path m_said = m_directory / "said";
    Shared* m_shared;
    pid_t m_server = -1;
    std::size_t m_failures = 0;
};

TEST_F(MailboxFault, AllocationThatFailsOnceOrForGoodLeavesTheLibraryUsable)
{
    for (const std::size_t count : {std::size_t{1}, AllocationFailure::all}) {
        std::size_t first = 0;
        while (faultAndRecovery<AllocationFailure>(
            "allocation " + std::to_string(first) + (count == 1 ? "" : " and all after it"),
            Allocation::ANY, first, count, AllocationScope::PROCESS))
            first = next(first);
    }
    std::printf("mailbox library: %zu failed allocations\n", m_failures);
}

TEST_F(MailboxFault, AllocationThatFailsOnceCostsTimeAndNothingElse)
{
    std::size_t index = 0;
    do {
        inChild("allocation " + std::to_string(index), [&] {
            const AllocationFailure failure(Allocation::ANY, index, 1, AllocationScope::PROCESS);
            expectWhole(round(patient));
            m_shared->struck = failure.struck();
        });
        ++index;
    } while (m_shared->struck && !HasFailure());
    EXPECT_GT(index, Round::steps);
}

struct FailingCall
{
    const char* name;
    std::vector<int> errors;
    bool shortens = false;
    /** How what is said of the first error begins; DIR is the directory of the mailboxes. */
    std::string report = {};
};

/** No ECONNREFUSED, which would be untrue: by it a mailbox that lives is taken for gone. */
const std::vector<FailingCall> mailboxCalls = {
    {"mkdir", {EACCES, ENOSPC}, false, "cannot use the mailbox directory DIR: Permission denied\n"},
    {"open", {EMFILE, EACCES}, false, "cannot use the mailbox directory DIR: Too many"},
    {"openat", {EMFILE, ENOSPC}, false, "cannot list the mailbox directory DIR: Too many"},
    {"fstat", {EIO}, false, "cannot use the mailbox directory DIR: Input"},
    {"fdopendir", {ENOMEM}, false, "cannot list the mailbox directory DIR: Cannot"},
    {"flock", {EINTR, ENOLCK}},
    {"socket", {EMFILE, ENOBUFS}, false, "cannot make a socket: Too many"},
    {"bind", {ENOSPC, EADDRINUSE}, false, "cannot make a mailbox in DIR: No space"},
    {"listen", {ENOBUFS}, false, "cannot make a mailbox in DIR: No buffer space"},
    {"connect", {EAGAIN, ENOMEM}, false, "cannot reach mailbox 0x"},
    {"accept4", {EAGAIN, ECONNABORTED, EINTR, EMFILE, ENOMEM}},
    {"accept4", {ENOMEM}, false, "cannot take a connection: Cannot"},
    {"getsockopt", {ENOBUFS}},
    {"send", {EAGAIN, EPIPE, ENOBUFS}},
    {"sendmsg", {EPIPE}},
    {"sendmsg", {ENOBUFS}, false, "cannot wake a mailbox: No buffer space"},
    {"recv", {EAGAIN, EINTR, ECONNRESET, ENOMEM}, true},
    {"recvmsg", {EAGAIN, EINTR, ECONNRESET, ENOMEM}},
    {"pread", {EINTR, EIO}, true},
    {"pwritev", {EINTR, ENOMEM}, true},
    {"lseek", {EINVAL}, false, "cannot hold a message: Invalid"},
    {"poll", {EINTR, ENOMEM}},
    {"epoll_create1", {EMFILE, ENOMEM}, false, "cannot make a mailbox: Too many"},
    {"epoll_ctl", {ENOMEM, ENOSPC}, false, "cannot wait for a mailbox's events: Cannot"},
    {"epoll_wait", {EINTR, EINVAL}},
    {"memfd_create", {EMFILE, ENOMEM}, false, "cannot make a stream: Too many"},
    {"renameat2", {ENOSPC}, false, "cannot make a mailbox in DIR: No space"},
    {"symlinkat", {ENOSPC}, false, "cannot name a mailbox in DIR: No space"},
    {"readlinkat", {EIO}, false, "cannot look a mailbox up in DIR: Input"},
    {"unlinkat", {EIO}},
    {"close", {EIO}},
};

TEST_F(MailboxFault, CallThatFailsLeavesTheLibraryUsable)
{
    for (const FailingCall& call : mailboxCalls) {
        std::vector<CallEffect> effects;
        for (const int error : call.errors)
            if (exhaustive() || error == call.errors.front())
                effects.push_back(CallEffect::failing(error));
        if (call.shortens)
            effects.push_back(CallEffect::atMost(1));
        for (const CallEffect& effect : effects) {
            std::size_t first = 0;
            while (faultAndRecovery<CallFailure>(
                std::string(call.name) + " " + std::to_string(first) + " with " +
                    (effect.error != 0 ? strerrorname_np(effect.error) : "one byte"),
                call.name, effect, first, std::size_t{1}, CallFailure::Scope::PROCESS))
                first = next(first);
            EXPECT_GT(first, 0U) << call.name << " is never called";
        }
        const std::string said = takeSaid();
        EXPECT_TRUE(call.report.empty() || said.find("itc: " + call.report) != said.npos)
            << call.name << ": " << said;
    }
    std::printf("mailbox library: %zu failed calls\n", m_failures);
}

TEST_F(MailboxFault, ShortageOrInterruptionDelaysARoundAndNoMore)
{
    for (const auto& [call, error] : {std::pair{"openat", EMFILE},
                                      {"socket", EMFILE},
                                      {"bind", ENOSPC},
                                      {"listen", ENOBUFS},
                                      {"renameat2", ENOSPC},
                                      {"symlinkat", ENOSPC},
                                      {"connect", ENOMEM},
                                      {"accept4", ENOMEM},
                                      {"sendmsg", ENOBUFS},
                                      {"pwritev", ENOMEM},
                                      {"epoll_create1", EMFILE},
                                      {"epoll_ctl", ENOSPC},
                                      {"memfd_create", EMFILE},
                                      {"recv", EAGAIN},
                                      {"recv", EINTR},
                                      {"recvmsg", EINTR},
                                      {"pread", EINTR},
                                      {"pwritev", EINTR}}) {
        m_shared->struck = true;
        for (std::size_t first = 0; m_shared->struck && !HasFailure(); first = next(first))
            inChild(std::string(call) + " " + std::to_string(first),
                    [&, call = call, error = error] {
                        sayIntoFile();
                        const CallFailure failure(call, CallEffect::failing(error), first, 1,
                                                  CallFailure::Scope::PROCESS);
                        expectWhole(round(patient));
                        m_shared->struck = failure.struck();
                    });
    }
}

TEST_F(MailboxFault, NameThatOthersKeepTakingIsTriedAgain)
{
    inChild("symlinkat", [&] {
        sayIntoFile();
        {
            const CallFailure failure("symlinkat", CallEffect::failing(EEXIST), 0, 3,
                                      CallFailure::Scope::PROCESS);
            expectWhole(round(patient));
            EXPECT_TRUE(failure.struck());
        }
        EXPECT_NE(takeSaid().find("itc: cannot name a mailbox: others take DIR/n-client"),
                  std::string::npos);
    });
}

TEST_F(MailboxFault, FileSystemThatCannotRenameWithoutReplacingWillDo)
{
    inChild("renameat2", [] {
        const CallFailure failure("renameat2", CallEffect::failing(EINVAL), 0, CallFailure::all,
                                  CallFailure::Scope::PROCESS);
        expectWhole(round(patient));
        EXPECT_TRUE(failure.struck());
    });
}

TEST_F(MailboxFault, TransfersOfOneByteLoseNothing)
{
    for (const char* const call : {"pread", "pwritev", "recv"}) {
        inChild(call, [&] {
            const CallFailure failure(call, CallEffect::atMost(1), 0, CallFailure::all,
                                      CallFailure::Scope::PROCESS);
            expectWhole(round(patient));
        });
    }
}

} // namespace
} // namespace Varnix::Test

#include "callFailure.h"
#include "child.h"
#include "mailboxRound.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/temporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

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
        m_failures += m_shared->struck ? 1U : 0U;
        return m_shared->struck && !HasFailure();
    }

    const TemporaryDirectory m_directory;
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

struct FailingCall
{
    const char* name;
    std::vector<int> errors;
    bool shortens = false;
};

/** No ECONNREFUSED, which would be untrue: by it a mailbox that lives is taken for gone. */
const std::vector<FailingCall> mailboxCalls = {
    {"mkdir", {EACCES, ENOSPC}},
    {"open", {EMFILE, EACCES}},
    {"openat", {EMFILE, ENOSPC}},
    {"fstat", {EIO}},
    {"fdopendir", {ENOMEM}},
    {"flock", {EINTR, ENOLCK}},
    {"socket", {EMFILE, ENOBUFS}},
    {"bind", {ENOSPC, EADDRINUSE}},
    {"listen", {ENOBUFS}},
    {"connect", {EAGAIN, ENOMEM}},
    {"accept4", {EAGAIN, ECONNABORTED, EINTR, EMFILE, ENOMEM}},
    {"getsockopt", {ENOBUFS}},
    {"send", {EAGAIN, EPIPE, ENOBUFS}},
    {"sendmsg", {EPIPE, ENOBUFS}},
    {"recv", {EAGAIN, EINTR, ECONNRESET, ENOMEM}, true},
    {"recvmsg", {EAGAIN, EINTR, ECONNRESET, ENOMEM}},
    {"pread", {EINTR, EIO}, true},
    {"pwritev", {EINTR, ENOMEM}, true},
    {"lseek", {EINVAL}},
    {"poll", {EINTR, ENOMEM}},
    {"epoll_create1", {EMFILE, ENOMEM}},
    {"epoll_ctl", {ENOMEM, ENOSPC}},
    {"epoll_wait", {EINTR, EINVAL}},
    {"memfd_create", {EMFILE, ENOMEM}},
    {"renameat2", {ENOSPC}},
    {"symlinkat", {ENOSPC}},
    {"readlinkat", {EIO}},
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
    }
    std::printf("mailbox library: %zu failed calls\n", m_failures);
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

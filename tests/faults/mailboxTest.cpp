#include "callFailure.h"
#include "child.h"
#include "tests/support/allocationFailure.h"
#include "tests/support/temporaryDirectory.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <itc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>

namespace Varnix::Test {
namespace {

constexpr std::uint32_t located = 1;
constexpr std::uint32_t ping = 2;
constexpr std::uint32_t pong = 3;
constexpr std::uint32_t makeMortal = 4;
constexpr std::uint32_t die = 6;
constexpr std::uint32_t down = 7;
constexpr std::uint32_t self = 8;

/** How long a round waits for an answer that a fault may have cost, and for one that must come. */
const std::uint32_t impatient = 20 * slowness();
const std::uint32_t patient = 20'000 * slowness();

std::uint32_t create(const char* name)
{
    return __itc_create_mailbox(name, 0, __FILE__, __LINE__);
}

void init()
{
    __itc_init(1, 0, nullptr, nullptr, 0, __FILE__, __LINE__);
}

void send(std::uint32_t to, std::uint32_t number)
{
    itc_msg* message = __itc_alloc(sizeof number, number, __FILE__, __LINE__);
    __itc_send(&message, to, ITC_MY_MBOX_ID, __FILE__, __LINE__);
    __itc_free(&message, __FILE__, __LINE__);
}

void locate(const char* name)
{
    itc_msg* message = __itc_alloc(sizeof located, located, __FILE__, __LINE__);
    __itc_locate_async(name, &message, ITC_MY_MBOX_ID, __FILE__, __LINE__);
    __itc_free(&message, __FILE__, __LINE__);
}

/** The sender of the next message with that number, if one comes in time. */
std::optional<std::uint32_t> receive(std::uint32_t number, std::uint32_t timeout)
{
    const std::uint32_t filter[] = {1, number};
    itc_msg* message = __itc_receive(filter, timeout, ITC_FROM_ALL, __FILE__, __LINE__);
    if (message == nullptr)
        return std::nullopt;
    const std::uint32_t sender = __itc_sender(message, __FILE__, __LINE__);
    __itc_free(&message, __FILE__, __LINE__);
    return sender;
}

/** Ends at the first message, or for want of one. */
void* mortal(void*)
{
    if (create("mortal") != ITC_NO_MBOX_ID)
        receive(die, 10 * impatient);
    return nullptr;
}

void runMortal()
{
    pthread_t thread{};
    ASSERT_EQ(::pthread_create(&thread, nullptr, mortal, nullptr), 0);
    ::pthread_join(thread, nullptr);
}

/** Answers a ping with a pong, and makes mailboxes that end. */
[[noreturn]] void serve()
{
    init();
    create("server");
    for (;;) {
        itc_msg* message = __itc_receive(nullptr, ITC_NO_TMO, ITC_FROM_ALL, __FILE__, __LINE__);
        const std::uint32_t number = message->msgno;
        const std::uint32_t client = __itc_sender(message, __FILE__, __LINE__);
        __itc_free(&message, __FILE__, __LINE__);
        if (number == ping)
            send(client, pong);
        else if (number == makeMortal)
            runMortal();
    }
}

std::uint64_t processorMicroseconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_THREAD, &usage);
    return static_cast<std::uint64_t>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000 +
           static_cast<std::uint64_t>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

/** Everything that a client of the library does, from its mailbox's creation to its end. */
struct Round
{
    std::uint32_t timeout;
    std::size_t done = 0; ///< steps that went well
    bool busy = false;    ///< the wait for nothing took the processor

    static constexpr std::size_t steps = 6;

    void run()
    {
        init();
        if (create("client of the mailbox library") == ITC_NO_MBOX_ID)
            return;
        ++done;
        send(ITC_MY_MBOX_ID, self);
        done += receive(self, timeout) ? 1U : 0U;

        locate("server");
        const auto server = receive(located, timeout);
        if (server)
            talkTo(*server);
        waitForNothing();
    }

private:
    void talkTo(std::uint32_t server)
    {
        ++done;
        send(server, ping);
        done += receive(pong, timeout) ? 1U : 0U;
        locate("mortal"); // most often before there is one
        send(server, makeMortal);
        const auto made = receive(located, timeout);
        if (!made)
            return;
        ++done;
        itc_msg* message = __itc_alloc(sizeof(std::uint32_t), down, __FILE__, __LINE__);
        __itc_monitor(*made, &message, __FILE__, __LINE__);
        __itc_free(&message, __FILE__, __LINE__);
        send(*made, die);
        done += receive(down, timeout) ? 1U : 0U;
    }

    void waitForNothing()
    {
        const std::uint64_t before = processorMicroseconds();
        receive(self, impatient);
        busy = processorMicroseconds() - before > impatient * 1000 / 2;
    }
};

/** A round in a thread of its own: its mailbox ends with it. */
Round round(std::uint32_t timeout)
{
    Round result{timeout};
    pthread_t thread{};
    const auto body = [](void* work) -> void* {
        static_cast<Round*>(work)->run();
        return nullptr;
    };
    if (::pthread_create(&thread, nullptr, body, &result) == 0)
        ::pthread_join(thread, nullptr);
    return result;
}

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

    /** A round under a fault, then one that must go well. Answers whether anything failed. */
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

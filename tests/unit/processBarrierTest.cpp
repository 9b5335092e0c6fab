#include "processBarrier.h"

#include "readMostlyLock.h"
#include "tests/support/endChild.h"
#include "tests/support/process.h"
#include "tests/support/waitUntil.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Backend {
namespace {

/**
 * From now on the kernel acts so where the calling thread, or one that it starts, asks for a
 * barrier. False where there are no filters of system calls, as under an emulator.
 */
bool onBarriers(unsigned action)
{
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_membarrier, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, action),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{sizeof steps / sizeof *steps, steps};
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/** The exit status of a child that finds `work` good. */
template <typename Work>
int inChild(const Work& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(static_cast<unsigned>(Varnix::Test::patience.count()));
        Test::endChild(work() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

/** Whether a reader that never pauses and a writer are never inside at once. */
bool excludes(ReadMostlyLock& lock)
{
    std::atomic<int> numbers[2] = {0, 0};
    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    int torn = 0;
    std::thread reader([&] {
        for (; !done; ++reads) {
            const std::shared_lock reading(lock);
            const int first = numbers[0].load(std::memory_order_relaxed);
            torn += first == numbers[1].load(std::memory_order_relaxed) ? 0 : 1;
        }
    });
    while (reads == 0)
        std::this_thread::yield();
    for (int i = 1; i <= 10; ++i) {
        const std::unique_lock writing(lock);
        for (std::atomic<int>& number : numbers)
            number.store(i, std::memory_order_relaxed);
    }
    done = true;
    reader.join();
    return torn == 0;
}

TEST(ProcessBarrier, CanBePassedAgainAndAgainPreparedOrNot)
{
    ProcessBarrier::pass();
    ProcessBarrier::prepare();
    ProcessBarrier::prepare();
    for (int i = 0; i < 3; ++i)
        ProcessBarrier::pass();
    EXPECT_EQ(inChild([offered = ProcessBarrier::isOffered()] {
                  ProcessBarrier::pass();
                  return ProcessBarrier::isOffered() == offered;
              }),
              0);
}

TEST(ProcessBarrier, IsPassedByEveryWriter)
{
    if (!ProcessBarrier::isOffered())
        return; // every writer is right without it
    const int status = inChild([] {
        ReadMostlyLock lock;
        ProcessBarrier::prepare();
        if (!onBarriers(SECCOMP_RET_KILL_PROCESS))
            ::raise(SIGSYS);
        lock.lock();
        return true;
    });
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
}

TEST(ProcessBarrier, LocksExcludeWhereTheKernelHasNone)
{
    const auto result =
        Varnix::Test::run({std::filesystem::read_symlink("/proc/self/exe"),
                           "--gtest_filter=ReadMostlyLock.Excludes*:ReadMostlyLock.GivesAWriter*:"
                           "ReadMostlyLock.LetsThose*:ThreadSlot.*"},
                          {.before = [] { onBarriers(SECCOMP_RET_ERRNO | ENOSYS); }});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

TEST(ProcessBarrier, LocksExcludeInAProcessThatForbidsThemToItselfLater)
{
    if (!ProcessBarrier::isOffered())
        return; // the case before this one
    EXPECT_EQ(inChild([] {
                  ReadMostlyLock lock;
                  onBarriers(SECCOMP_RET_ERRNO | EPERM);
                  return excludes(lock);
              }),
              0);
}

} // namespace
} // namespace Varnix::Backend

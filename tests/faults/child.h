#ifndef VARNIX_TESTS_FAULTS_CHILD_H
#define VARNIX_TESTS_FAULTS_CHILD_H

#include "tests/support/waitUntil.h"

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

// What the tracing library's own preloaded fork calls; no header of it has them.
extern "C" {
void lttng_ust_before_fork(sigset_t* signals);
void lttng_ust_after_fork_parent(sigset_t* signals);
}

namespace Varnix::Test {

/** A child that takes longer than this hangs. */
inline const unsigned childSeconds = 120 * slowness();

/**
 * Forks while no thread of the tracing library is at work: the child, which has no such thread,
 * would wait for its lock for ever when it ends.
 */
inline pid_t forkBetweenTraces()
{
    sigset_t signals;
    lttng_ust_before_fork(&signals);
    const pid_t child = ::fork();
    lttng_ust_after_fork_parent(&signals); // in the child, too, which is to trace nothing
    return child;
}

/** Starts a process of the test's own that runs `body` and ends as a program does. */
template <typename Body>
pid_t startChild(const Body& body)
{
    std::fflush(nullptr);
    const pid_t child = forkBetweenTraces();
    if (child == 0) {
        ::alarm(childSeconds);
        body();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    }
    return child;
}

/** Runs `body` in a process of its own and expects it to end well, so that a crash is reported. */
template <typename Body>
void inChild(const std::string& what, const Body& body)
{
    const pid_t child = startChild(body);
    ASSERT_GT(child, 0);
    int ending = 0;
    ASSERT_EQ(::waitpid(child, &ending, 0), child);
    EXPECT_TRUE(WIFEXITED(ending)) << what << ": ended by signal " << WTERMSIG(ending);
    EXPECT_TRUE(!WIFEXITED(ending) || WEXITSTATUS(ending) == 0)
        << what << ": status " << WEXITSTATUS(ending);
}

/** Whether every index is struck, however long that takes, instead of a share of them. */
inline bool exhaustive()
{
    return std::getenv("VARNIX_EVERY_FAULT") != nullptr;
}

/** The index to strike after `index`: the next one, or a share of them that thins out. */
inline std::size_t next(std::size_t index)
{
    return index + (exhaustive() ? 1 : 1 + index / 4);
}

} // namespace Varnix::Test

#endif

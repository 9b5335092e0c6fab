#include "endSignals.h"

#include "dbfile/descriptor.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace Dbcsi;
using std::chrono::steady_clock;

constexpr int noDescriptor = -1;

TEST(EndSignalWait, TimeRunsOutWhateverErrorACallBeforeHasLeft)
{
    const EndSignals signals;
    errno = EINTR;
    EXPECT_EQ(signals.waitFor(noDescriptor, steady_clock::now()), EndSignals::Wait::TIMED_OUT);
}

TEST(EndSignalWait, ASignalGoesBeforeInputThatIsThereToo)
{
    static_cast<void>(std::signal(SIGTERM, SIG_DFL)); // whoever runs the tests may ignore it
    const EndSignals signals;
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Varnix::DbFile::Descriptor reading(ends[0]);
    const Varnix::DbFile::Descriptor writing(ends[1]);
    ASSERT_EQ(::write(writing.get(), "x", 1), 1);
    EXPECT_EQ(signals.waitFor(reading.get()), EndSignals::Wait::READY);
    ASSERT_EQ(::raise(SIGTERM), 0);
    EXPECT_EQ(signals.waitFor(reading.get()), EndSignals::Wait::ENDED);
    sigset_t sent;
    ::sigemptyset(&sent);
    ::sigaddset(&sent, SIGTERM);
    int taken = 0;
    EXPECT_EQ(::sigwait(&sent, &taken), 0); // so that it ends no other test
}

} // namespace

#include "endSignals.h"

#include <cerrno>
#include <chrono>

#include <gtest/gtest.h>

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

} // namespace

#include "lineSource.h"
#include "tests/support/scriptedRead.h"

#include <array>
#include <cerrno>
#include <string_view>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace Dbcsi;
using Varnix::Test::CallEffect;
using Varnix::Test::ScriptedRead;

/** Standard input is a pipe that holds some lines. */
class PipeSources : public testing::Test
{
protected:
    void SetUp() override
    {
        std::array<int, 2> ends{};
        ASSERT_EQ(::pipe(ends.data()), 0);
        ASSERT_EQ(::dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        constexpr std::string_view lines = "first\nsecond\n";
        ASSERT_EQ(::write(ends[1], lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
        ::close(ends[0]);
        ::close(ends[1]);
    }

    void expectBothLines()
    {
        EXPECT_EQ(m_source.next(), "first");
        EXPECT_EQ(m_source.next(), "second");
        EXPECT_EQ(m_source.next(), std::nullopt);
    }

private:
    EndSignals m_endSignals;

protected:
    PipeSource m_source{m_endSignals};
};

TEST_F(PipeSources, AnInterruptedReadIsRepeated)
{
    const ScriptedRead script{CallEffect::failing(EINTR), CallEffect::atMost(3),
                              CallEffect::failing(EINTR)};
    expectBothLines();
    EXPECT_EQ(script.left(), 0u);
}

TEST_F(PipeSources, ANonBlockingPipeThatHoldsNothingYetIsWaitedFor)
{
    const ScriptedRead script{CallEffect::failing(EAGAIN), CallEffect::atMost(3),
                              CallEffect::failing(EAGAIN)};
    expectBothLines();
    EXPECT_EQ(script.left(), 0u);
}

TEST_F(PipeSources, AReadThatFailsIsSaid)
{
    const ScriptedRead script{CallEffect::failing(EIO)};
    EXPECT_THROW(m_source.next(), InputError);
}

} // namespace

#include "lineSource.h"
#include "tests/support/scriptedRead.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace Dbcsi;
using Varnix::Test::CallEffect;
using Varnix::Test::ScriptedRead;

/** What is typed, and then the terminal has gone. */
class TerminalSources : public testing::Test
{
protected:
    static void type(std::string_view keys)
    {
        std::array<int, 2> ends{};
        ASSERT_EQ(::pipe(ends.data()), 0);
        ASSERT_EQ(::dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        ASSERT_EQ(::write(ends[1], keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
        ::close(ends[0]);
        ::close(ends[1]);
    }

    void SetUp() override { ::setenv("LC_ALL", "C.UTF-8", 1); }

    const EndSignals m_endSignals;
};

TEST_F(TerminalSources, AnEmptyLineIsNotTheEnd)
{
    type("\nsecond\n");
    TerminalSource source(m_endSignals);
    EXPECT_EQ(source.next(), "");
    EXPECT_EQ(source.next(), "second");
    EXPECT_EQ(source.next(), std::nullopt);
}

TEST_F(TerminalSources, CharactersOfSeveralBytesAreWholeAndStrayBytesAreLeftOut)
{
    type("\xC3\xA9 \xE2\x82\xAC\xFFx\n");
    TerminalSource source(m_endSignals);
    EXPECT_EQ(source.next(), "\xC3\xA9 \xE2\x82\xACx");
}

TEST_F(TerminalSources, AnInterruptedReadIsRepeated)
{
    type("x\n");
    TerminalSource source(m_endSignals);
    const ScriptedRead script{CallEffect::failing(EINTR)};
    EXPECT_EQ(source.next(), "x");
    EXPECT_EQ(script.left(), 0u);
}

TEST_F(TerminalSources, TheEndIsTheEndWhateverErrorACallBeforeHasLeft)
{
    type("");
    TerminalSource source(m_endSignals);
    const ScriptedRead script{CallEffect::failing(EINTR)};
    EXPECT_EQ(source.next(), std::nullopt);
}

TEST_F(TerminalSources, OneThatHasGoneIsTheEnd)
{
    type("x\n");
    TerminalSource source(m_endSignals);
    const ScriptedRead script{CallEffect::failing(EIO)};
    EXPECT_EQ(source.next(), std::nullopt);
}

TEST_F(TerminalSources, AReadThatFailsIsSaid)
{
    type("x\n");
    TerminalSource source(m_endSignals);
    const ScriptedRead script{CallEffect::failing(EINVAL)};
    try {
        source.next();
        ADD_FAILURE() << "it did not fail";
    } catch (const InputError& error) {
        EXPECT_STREQ(error.what(), "standard input cannot be read: Invalid argument");
    }
}

} // namespace

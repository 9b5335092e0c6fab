#include "serverFixture.h"

#include <memory>

namespace {

using namespace ServerTests;

constexpr const char* up = "\x1b[A";
constexpr const char* backspace = "\x7f";
constexpr const char* endOfInput = "\x04";
constexpr const char* interrupt = "\x03";

class ServerTerminal : public ServerFixture
{
protected:
    void SetUp() override { waitForPrompt(); }

    /** What the terminal shows up to the next prompt. */
    std::string waitForPrompt() { return m_terminal.out().readUntil("dbcsi> "); }

    Child m_terminal{serverCommand(), true};
};

TEST_F(ServerTerminal, LinesCanBeEdited)
{
    const auto only = subscriber();
    m_terminal.write(std::string("db write /unit/gain 78") + backspace + "\n");
    m_terminal.out().readUntil("sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), "write [db] [write] [/unit/gain] [7]");
}

TEST_F(ServerTerminal, TheHistoryBringsALineBack)
{
    const auto only = subscriber();
    m_terminal.write("db write /unit/gain 5\n");
    m_terminal.out().readUntil("sent to 1 subscriber");
    waitForPrompt();
    m_terminal.write(std::string(up) + "\n");
    m_terminal.out().readUntil("sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), "write [db] [write] [/unit/gain] [5]");
    EXPECT_EQ(only->out().line(), "write [db] [write] [/unit/gain] [5]");
}

TEST_F(ServerTerminal, AMistakeAtATerminalLeavesTheStatusAlone)
{
    m_terminal.write("'\n");
    EXPECT_EQ(m_terminal.err().line(), "<stdin>:1:1: error: unterminated '");
    waitForPrompt();
    m_terminal.write(endOfInput);
    EXPECT_EQ(m_terminal.wait(), 0);
}

TEST_F(ServerTerminal, InterruptEndsItCleanly)
{
    m_terminal.write(interrupt);
    EXPECT_EQ(m_terminal.wait(), 0);
}

} // namespace

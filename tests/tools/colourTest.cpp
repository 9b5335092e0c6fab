#include "tests/support/child.h"
#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

namespace Varnix::Test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* escape = "\033";

/** The two commands whose findings are coloured, one finding each. */
class Colours : public ToolTest
{
protected:
    Colours()
    {
        DbBuilder().u8("ab", {1}).unchecked("ab").write(m_directory / "bad.db");
        DbBuilder().text("/componentConfigId", "a_1").write(m_directory / "prod.db");
        write("node.cfg", configText({{"a", "1", {"absent.db"}}}));
    }

    /** What the command prints at a terminal with these additions to its environment. */
    std::string atTerminal(const std::vector<std::string>& settings,
                           const std::vector<std::string>& arguments)
    {
        std::vector<std::string> command{
            "/usr/bin/env", "-C",       m_directory.path().string(),
            "-u",           "NO_COLOR", "sys_uflash_prod_db_dev=prod.db"};
        command.insert(command.end(), settings.begin(), settings.end());
        command.emplace_back(VARNIX_TOOL);
        command.insert(command.end(), arguments.begin(), arguments.end());
        Child child(command, true);
        const std::string shown = child.out().rest();
        m_notes = child.err().rest();
        return shown;
    }

    /** What went to standard error, which is a pipe. */
    std::string m_notes;
};

const std::vector<std::vector<std::string>> commands{{"check", "bad.db"}, {"explain", "node.cfg"}};

TEST_F(Colours, FindingsAreColouredAtATerminal)
{
    for (const std::vector<std::string>& command : commands)
        EXPECT_THAT(atTerminal({}, command), HasSubstr(": \033[31merror\033[0m: "));
}

TEST_F(Colours, MatchingEntriesAreColouredAtATerminal)
{
    EXPECT_THAT(atTerminal({}, {"explain", "node.cfg"}), HasSubstr("\033[32mmatches a_1\033[0m"));
}

TEST_F(Colours, ValueThatATerminalWouldActOnIsEscapedThere)
{
    DbBuilder().text("/a", "\033[2J\n").text("/b", "b\"").write(m_directory / "a.db");
    write("node.cfg", configText({{"a", "1", {"a.db"}}}));
    EXPECT_EQ(atTerminal({}, {"get", "node.cfg", "/a"}), "\"\\x1b[2J\\n\"\r\n");
    EXPECT_EQ(atTerminal({}, {"get", "node.cfg", "/b"}), "b\"\r\n");
    DbBuilder().text("/a", "\x7F\xC2\x9B").write(m_directory / "a.db");
    EXPECT_THAT(atTerminal({}, {"get", "--json", "node.cfg", "/a"}),
                HasSubstr("\"value\": \"\\u007f\\u009b\""));
}

TEST_F(Colours, EachStreamIsLookedAtForItself)
{
    atTerminal({}, {"check", "bad.db"});
    EXPECT_THAT(m_notes, AllOf(HasSubstr(": note: "), Not(HasSubstr(escape))));
}

TEST_F(Colours, DatabaseIsNotWrittenToATerminal)
{
    write("a", "/a U8 1");
    EXPECT_EQ(atTerminal({}, {"build", "-o", "-", "a"}), "");
    EXPECT_EQ(m_notes, "varnix: a database is not written to a terminal; name a file with -o\n");
}

TEST_F(Colours, UserWhoSaysSoGetsNone)
{
    for (const char* setting : {"NO_COLOR=1", "TERM=dumb"})
        for (const std::vector<std::string>& command : commands)
            EXPECT_THAT(atTerminal({setting}, command),
                        AllOf(HasSubstr(": error: "), Not(HasSubstr(escape))));
}

TEST_F(Colours, EmptyNoColorSaysNothing)
{
    EXPECT_THAT(atTerminal({"NO_COLOR="}, {"check", "bad.db"}), HasSubstr(escape));
}

TEST_F(Colours, ThereIsNoneInAFileOrAPipe)
{
    for (const std::vector<std::string>& command : commands) {
        const ProcessResult result =
            varnix(command, {.environment = {"NO_COLOR", "sys_uflash_prod_db_dev=prod.db"}});
        EXPECT_THAT(result.out, AllOf(HasSubstr(": error: "), Not(HasSubstr(escape))));
        EXPECT_THAT(result.err, Not(HasSubstr(escape)));
    }
}

} // namespace
} // namespace Varnix::Test

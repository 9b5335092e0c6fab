#include "serverFixture.h"

#include <random>
#include <string>
#include <utility>

#include <gmock/gmock.h>

namespace {

using namespace ServerTests;
using testing::EndsWith;

class ServerLine : public ServerFixture
{
};

TEST_F(ServerLine, AnUnterminatedQuoteNamesItsColumnAndTheServerGoesOn)
{
    startServer();
    const auto only = subscriber();
    type("");
    type("db write /unit/label -c 'unit one");
    EXPECT_EQ(complaint(), "<stdin>:2:25: error: unterminated '");
    type(command);
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), commandAsReceived);
    server().endInput();
    EXPECT_EQ(server().wait(), 4);
}

TEST_F(ServerLine, ACommandThatIsTooLargeGoesToNobody)
{
    // 16 bytes before the words, 24 for the first four, and the end of the fifth.
    constexpr std::size_t longestValue = (std::size_t{1} << 20) - 16 - 24 - 1;
    const std::string longest(longestValue, 'x');

    startServer();
    const auto only = subscriber();
    type("db write /unit/label -c " + longest + "x");
    EXPECT_EQ(complaint(), "<stdin>:1:1: error: a message of 1048577 bytes is too large: at most "
                           "1048576 can be sent");
    type("db write /unit/label -c " + longest);
    EXPECT_EQ(answer(), "sent to 1 subscriber");
    EXPECT_EQ(only->out().line(), "write [db] [write] [/unit/label] [-c] [" + longest + "]");
}

TEST_F(ServerLine, ALineThatIsNoCommandAndTooShortForAWriteIsNotSent)
{
    startServer();
    const auto only = subscriber();
    struct Mistake
    {
        const char* line;
        const char* command;
        const char* meant;
    };
    for (const auto& [line, given, meant] :
         {Mistake{"stauts", "stauts", "status"}, Mistake{"wiat 3", "wiat", "wait"},
          Mistake{"Quit", "Quit", "quit"}, Mistake{"hlep", "hlep", "help"},
          Mistake{"setle", "setle", "settle"}, Mistake{"'' a b", "", "db write KEY VALUE..."},
          Mistake{"db read /a", "db", "db write KEY VALUE..."}}) {
        type(line);
        EXPECT_THAT(complaint(), EndsWith(std::string(":1: error: \"") + given +
                                          "\" is no command of the server, and a write has at "
                                          "least 4 words; did you mean \"" +
                                          meant + "\"?"));
    }
    type(command);
    EXPECT_EQ(only->out().line(), commandAsReceived);
    server().endInput();
    EXPECT_EQ(server().wait(), 4);
}

TEST_F(ServerLine, TheStatusIsThatOfTheFirstLineThatFailed)
{
    for (const auto& [lines, status] :
         {std::pair("wait 1 0\n'\n", 1), std::pair("'\nwait 1 0\n", 4),
          std::pair("status\nwait 1 0\nhelp me\n", 1)}) {
        startServer();
        server().write(lines);
        server().endInput();
        EXPECT_EQ(server().wait(), status) << lines;
    }
}

TEST_F(ServerLine, OutputThatCannotBeWrittenDoesNotHideAnEarlierFailure)
{
    for (const auto& [line, status] : {std::pair("wait 1 0", 1), std::pair("\\'", 4)}) {
        Child child({"/bin/sh", "-c",
                     std::string("{ echo ") + line + "; echo help; } | exec '" +
                         DBCSI_SERVER_PROGRAM + "' >/dev/full"});
        EXPECT_EQ(child.wait(), status);
    }
}

TEST_F(ServerLine, ACommandThatIsTooLargeIsRefusedWhereNobodyListens)
{
    startServer();
    type("db write /unit/label -c " + std::string(std::size_t{1} << 20, 'x'));
    EXPECT_THAT(complaint(), EndsWith("is too large: at most 1048576 can be sent"));
    server().endInput();
    EXPECT_EQ(server().out().rest(), "");
    EXPECT_EQ(server().wait(), 4);
}

TEST_F(ServerLine, OwnCommandsTakeOnlyTheirOwnArguments)
{
    startServer();
    type("status all");
    EXPECT_EQ(complaint(), "<stdin>:1:1: error: \"status\" takes no arguments");
    for (const char* line : {"settle x", "settle 1 2", "settle -1"}) {
        type(line);
        EXPECT_THAT(complaint(), EndsWith(":1: error: usage: settle [SECONDS]")) << line;
    }
    for (const char* line : {"wait", "wait x", "wait 1 2 3", "wait 1 x", "wait -1"}) {
        type(line);
        EXPECT_THAT(complaint(), EndsWith(":1: error: usage: wait N [SECONDS]")) << line;
    }
}

TEST_F(ServerLine, TheLastLineNeedsNoNewline)
{
    startServer();
    server().write("status");
    server().endInput();
    EXPECT_EQ(answer(), "0 subscribers");
}

TEST_F(ServerLine, RandomBytesAreReportedWithTheirPlaceAndDoNoHarm)
{
    std::mt19937 random(1);
    std::string bytes(5000, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    startServer();
    server().write(std::string("a\0b\n", 4) + bytes);
    EXPECT_EQ(complaint(), "<stdin>:1:2: error: NUL byte");
    server().write("\nstatus\n");
    server().endInput();
    EXPECT_EQ(server().wait(), 4);
    EXPECT_TRUE(server().out().rest().ends_with("0 subscribers\n"));
}

} // namespace

#include "serverFixture.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace ServerTests;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* commandHelp =
    "  WORD...             send a command's words to every subscriber, for example\n"
    "                        db write /unit/label -c 'unit one'\n"
    "                        db write /unit/label -a spare\n"
    "                        db write /unit/gain -i 2 7 8\n"
    "                        db write /unit/gain -r 4 -i 0 9\n"
    "  status              list the subscribers\n"
    "  wait N [SECONDS]    wait until there are at least N subscribers\n"
    "  settle [SECONDS]    wait until every subscriber has handled what it was sent\n"
    "  help                show this\n"
    "  quit                end the server\n"
    "Words are quoted as in a shell: '...', \"...\" and \\. A line that begins with # is\n"
    "a comment.\n";

class ServerHelp : public ServerFixture
{
protected:
    static std::string helpText()
    {
        Child child(serverCommand({"--help"}));
        EXPECT_EQ(child.wait(), 0);
        return child.out().rest();
    }
};

TEST_F(ServerHelp, TellsWhatTheServerDoesAndWhatEachOptionMeans)
{
    const std::string text = helpText();
    EXPECT_THAT(text, StartsWith("The subscription server of a development host: sends an "
                                 "operator's commands to every process that has loaded "
                                 "libvarnix.\nUsage: dbcsi-server [OPTIONS]\n"));
    for (const auto& [option, meaning] : std::vector<std::pair<std::string, std::string>>{
             {"--reject-connection", "Refuse every connection"},
             {"--reject-subscription", "Refuse every subscription"},
             {"--queue-limit BYTES.67108864", "Drop a subscriber for which more BYTES wait"},
             {"--journal FILE", "Append every write to FILE before it is sent"},
             {"--replay",
              "First send a subscriber the journal's writes that its process has not had"},
             {"--stay", "Go on serving after the end of standard input, until a signal"}})
        EXPECT_THAT(text, ContainsRegex("\n *" + option + "[^\n]*[ \n]+" + meaning + "\n"));
}

TEST_F(ServerHelp, TellsTheOperatorsCommandsAndWhatEachStatusMeans)
{
    const std::string text = helpText();
    EXPECT_THAT(text,
                HasSubstr(std::string("\nOperator commands, one a line on standard input:\n") +
                          commandHelp));
    EXPECT_THAT(
        text,
        EndsWith("\nExit status:\n"
                 "  0  done\n"
                 "  1  a \"wait\" or \"settle\" ran out of time, or a write did not reach every "
                 "subscriber\n"
                 "  2  wrong usage\n"
                 "  3  standard input cannot be read or holds no lines, standard output cannot be "
                 "written, or the journal cannot be opened or read\n"
                 "  4  a line of scripted input could not be carried out\n"
                 "  5  mailboxes cannot be used, another server runs, or memory ran out\n"));
}

TEST_F(ServerHelp, TheOperatorGetsTheSameOfTheCommands)
{
    startServer();
    type("help\nquit");
    EXPECT_EQ(server().out().rest(), commandHelp);
    EXPECT_EQ(server().wait(), 0);
}

} // namespace

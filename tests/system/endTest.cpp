#include "systemFixture.h"
#include "tests/support/process.h"
#include "tests/support/tracedProcess.h"

#include <algorithm>

#include <sys/wait.h>

namespace {

using namespace Varnix::Test;

using Command = std::vector<std::string>;

/** A program and how it ends. */
struct Ending
{
    const char* name;
    Command command; ///< "CONFIG" stands for the configuration file
    bool burst;      ///< writes come in meanwhile
    int databases;   ///< how many databases one run makes
};

std::ostream& operator<<(std::ostream& stream, const Ending& ending)
{
    return stream << ending.name;
}

Command ending(const std::string& how)
{
    return {ENDING_CLIENT, "CONFIG", how};
}

Command loading(const std::string& how, const std::string& times = "1")
{
    return {LOADING_CLIENT, "CONFIG", how, times};
}

Command inBurst(Command command)
{
    command.push_back("burst");
    return command;
}

/** Every process end; how often each is shown. */
int rounds()
{
    constexpr int endings = 22; // of the table below, each with and without a session
    return std::max(1, countOf("VARNIX_TEST_ENDS", 44) / endings);
}

class End : public testing::TestWithParam<Ending>
{
protected:
    End()
    {
        if (GetParam().burst) {
            m_server = std::make_unique<Child>(Command{SYSTEM_SERVER, "stream"});
            EXPECT_EQ(m_server->out().line(), "streaming");
        }
    }

    Command command() const
    {
        Command words = GetParam().command;
        std::replace(words.begin(), words.end(), std::string("CONFIG"), m_node.configuration());
        return words;
    }

    const Node m_node;
    std::unique_ptr<Child> m_server;
};

TEST_P(End, IsCleanWithoutASession)
{
    for (int round = 0; round < rounds(); ++round) {
        const ProcessResult result = run(command());
        ASSERT_EQ(result.signal, 0) << result.err;
        ASSERT_EQ(result.status, 0) << result.err;
    }
}

TEST_P(End, IsCleanWithASessionThatHoldsWhatCameBefore)
{
    for (int round = 0; round < rounds(); ++round) {
        const TracedRun traced = runTraced(command());
        ASSERT_TRUE(WIFEXITED(traced.status)) << traced.status;
        ASSERT_EQ(WEXITSTATUS(traced.status), 0);
        const auto count = [&](const std::string& message) {
            return std::count_if(
                traced.records.begin(), traced.records.end(),
                [&](const TraceRecord& record) { return record.msg.starts_with(message); });
        };
        ASSERT_EQ(count("Initializing database from config file: "), GetParam().databases);
        ASSERT_EQ(count("updateDbs, key: /unit/gain") > 0, GetParam().burst);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Every, End,
    testing::Values(Ending{"Return", ending("return"), false, 1},
                    Ending{"ReturnInBurst", inBurst(ending("return")), true, 1},
                    Ending{"ExitOfAThread", ending("exit"), false, 1},
                    Ending{"ExitOfAThreadInBurst", inBurst(ending("exit")), true, 1},
                    Ending{"ForkedChildren", ending("fork"), false, 1},
                    Ending{"ForkedChildrenInBurst", inBurst(ending("fork")), true, 1},
                    Ending{"KeptHandle", loading("keep"), false, 1},
                    Ending{"KeptHandleInBurst", inBurst(loading("keep")), true, 1},
                    Ending{"Unload", loading("unload", "100"), false, 100},
                    Ending{"UnloadInBurst", inBurst(loading("unload", "20")), true, 20},
                    Ending{"UnloadByAPlainProgram",
                           {PLAIN_LOADER, CLIENT_PLUGIN, "CONFIG", "100"},
                           false,
                           100}),
    [](const auto& tested) { return tested.param.name; });

} // namespace

#include "systemFixture.h"

#include <csignal>

namespace {

using namespace Varnix::Test;

class Write : public testing::Test
{
protected:
    using Program = std::unique_ptr<Child>;

    /** A client process that has read its databases. */
    Program client() const
    {
        auto child = std::make_unique<Child>(
            std::vector<std::string>{SYSTEM_CLIENT, m_node.configuration()});
        EXPECT_EQ(child->out().line(), "ready");
        return child;
    }

    /** A server that waits for two subscribers and writes `value` to them. */
    static Program serverThatWrites(int value)
    {
        return std::make_unique<Child>(
            std::vector<std::string>{SYSTEM_SERVER, "write", "2", std::to_string(value)});
    }

    /** Waits until every store of both clients holds `value`. */
    void expectEverywhere(int value) const
    {
        for (Child* program : {m_first.get(), m_second.get()})
            program->write("wait " + std::to_string(value) + '\n');
        for (Child* program : {m_first.get(), m_second.get()})
            EXPECT_EQ(program->out().line(), "seen") << value;
    }

    const Node m_node;
    const Program m_first = client();
    const Program m_second = client();
};

TEST_F(Write, ReachesEveryStoreOfEveryProcess)
{
    const Program server = serverThatWrites(17);
    EXPECT_EQ(server->out().line(), "written");
    expectEverywhere(17);
}

TEST_F(Write, FollowsEveryRestartOfAKilledServer)
{
    const int cycles = countOf("VARNIX_TEST_RESTARTS", 20);
    for (int cycle = 1; cycle <= cycles; ++cycle) {
        const Program server = serverThatWrites(cycle);
        ASSERT_EQ(server->out().line(), "written") << cycle;
        expectEverywhere(cycle);
        server->signal(SIGKILL);
        ASSERT_EQ(server->wait(), 128 + SIGKILL);
    }
}

TEST_F(Write, StoppedServerDelaysNoRead)
{
    const Program server = serverThatWrites(17);
    EXPECT_EQ(server->out().line(), "written");
    expectEverywhere(17);
    server->signal(SIGSTOP);
    m_first->write("read 100000\n");
    EXPECT_EQ(m_first->out().line(), "100000");
    const Program late = client();
    late->write("read 1000\n");
    EXPECT_EQ(late->out().line(), "1000");
    late->endInput();
    EXPECT_EQ(late->wait(), 0);
}

TEST_F(Write, ClientsEndWellWhetherTheServerLivesOrNot)
{
    Program server = serverThatWrites(17);
    EXPECT_EQ(server->out().line(), "written");
    expectEverywhere(17);
    m_first->endInput();
    EXPECT_EQ(m_first->wait(), 0);
    server.reset();
    m_second->endInput();
    EXPECT_EQ(m_second->wait(), 0);
}

} // namespace

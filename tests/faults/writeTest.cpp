#include "child.h"
#include "preload.h"
#include "tests/support/child.h"
#include "tests/support/nodeDirectory.h"
#include "tests/support/process.h"

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Test {
namespace {

using testing::AnyOf;
using testing::Eq;

/** An operator's write to one process through a running server, once as lines, once as a document.
 */
class WriteFault : public testing::TestWithParam<bool>
{
protected:
    WriteFault()
    {
        ::setenv("VARNIX_ITC_DIR", (m_node / "itc").c_str(), 1);
        m_node.production(DbBuilder().text("/componentConfigId", "unit_R1"));
        const std::string config = m_node.configuration(
            "node.cfg",
            {{"unit", "R1", {m_node.database("unit.db", DbBuilder().u16("/gain", {1, 2}))}}});
        m_server = std::make_unique<Child>(std::vector<std::string>{DBCSI_SERVER});
        m_subscriber = std::make_unique<Child>(std::vector<std::string>{HOLDER, config});
        m_server->write("wait 1 60\n");
        EXPECT_EQ(m_server->out().line(), "1 subscriber");
        EXPECT_EQ(m_subscriber->out().line(), "ready");
    }

    /** Writes with the `first` such call failing; returns whether there was one. */
    bool strike(const Fault& fault, std::size_t first)
    {
        std::vector<std::string> command{VARNIX_TOOL, "write"};
        if (GetParam())
            command.emplace_back("--json");
        command.insert(command.end(), {"db", "write", "/gain", std::to_string(++m_value)});
        const ProcessResult result =
            run(command, {.environment = m_report.environment(fault, first)});
        const testing::ScopedTrace trace(__FILE__, __LINE__, describe(fault, first));
        expectAnswered(result);
        const bool struck = m_report.struck() || HasFailure();
        m_failures += struck ? 1 : 0;
        return struck;
    }

    /** It says what became of the write, or ends with a message and its status. */
    void expectAnswered(const ProcessResult& result) const
    {
        EXPECT_EQ(result.signal, 0) << result.err;
        EXPECT_THAT(result.status, AnyOf(Eq(0), Eq(1), Eq(3), Eq(5)));
        const bool isDocument = result.out.starts_with("{") && result.out.ends_with("}\n");
        const bool isWhole = GetParam() ? isDocument : result.out.ends_with("\n");
        EXPECT_TRUE(result.status > 1 || isWhole || !result.err.empty()) << result.out;
        EXPECT_TRUE(result.status <= 1 || !result.err.empty()) << "no message";
        EXPECT_TRUE(result.status == 3 || !GetParam() || isDocument) << result.out;
    }

    void strikeAll(const Fault& fault)
    {
        for (std::size_t first = 0; !HasFailure() && strike(fault, first);)
            first = next(first);
    }

    /** A process that no fault strikes writes as before. */
    void expectWholeInTheEnd() const
    {
        const ProcessResult result = run({VARNIX_TOOL, "write", "db", "write", "/gain", "0"});
        EXPECT_EQ(result.status, 0) << result.out << result.err;
    }

    const NodeDirectory m_node;
    const FaultReport m_report;
    std::unique_ptr<Child> m_server;
    std::unique_ptr<Child> m_subscriber;
    unsigned m_value = 0;
    std::size_t m_failures = 0;
};

TEST_P(WriteFault, OperatorsWriteThatRunsOutOfMemoryEndsWithItsStatus)
{
    strikeAll({.call = "new"});
    strikeAll({.call = "new", .count = Fault::all});
    expectWholeInTheEnd();
    std::printf("write: %zu failed allocations\n", m_failures);
}

const std::vector<Fault> writeFaults = {
    {"open", EMFILE},
    {"read", EIO},
    {"write", EIO},
    {"write"},
    {"socket", EMFILE},
    {"connect", EAGAIN},
    {"sendmsg", ENOBUFS},
    {"recvmsg", ENOMEM},
    {"epoll_create1", EMFILE},
    {"eventfd", ENFILE},
    {"pthread_create", EAGAIN},
    {"memfd_create", EMFILE},
    {"mkdir", EACCES},
    {"bind", ENOSPC},
    {"poll", ENOMEM},
};

TEST_P(WriteFault, OperatorsWriteWhoseCallFailsEndsWithItsStatus)
{
    for (const Fault& fault : writeFaults)
        strikeAll(fault);
    expectWholeInTheEnd();
    std::printf("write: %zu failed calls\n", m_failures);
}

INSTANTIATE_TEST_SUITE_P(AsLinesAndDocument, WriteFault, testing::Bool(),
                         [](const auto& json) { return json.param ? "document" : "lines"; });

} // namespace
} // namespace Varnix::Test

#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

#include <cstdlib>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/** The example that leaves shares of the nodes to GNU parallel. */
class Fleet : public ToolTest
{
protected:
    Fleet()
    {
        for (char name = 'a'; name < 'a' + count; ++name)
            makeNode(std::string(1, name) + " node");
    }

    void makeNode(const std::string& name)
    {
        const fs::path node = m_directory / "nodes" / name;
        fs::create_directories(node);
        DbBuilder().text("/componentConfigId", "unit_1").write(node / "production.db");
        DbBuilder().u16("/gain", {17}).write(node / "unit.db");
        writeFile(node / "node.cfg", configText({{"unit", "1", {"/unit.db"}}}));
    }

    /** With the programs of a directory before all others. */
    ProcessResult audit(const std::vector<std::string>& options,
                        const fs::path& programs = fs::path(VARNIX_TOOL).parent_path())
    {
        std::vector<std::string> command{VARNIX_SOURCE_DIR "/examples/fleet/audit", "nodes"};
        command.insert(command.end(), options.begin(), options.end());
        const std::string path = programs.string() + ':' + std::getenv("PATH");
        return run(command, {.directory = m_directory.path(),
                             .environment = {"PATH=" + path, "SHARE=3",
                                             "HOME=" + m_directory.path().string(), firstVariable,
                                             secondVariable}});
    }

    /** What one process says of all nodes. */
    ProcessResult auditAtOnce()
    {
        std::vector<std::string> command{"audit", "--json"};
        for (char name = 'a'; name < 'a' + count; ++name)
            command.push_back("nodes/" + std::string(1, name) + " node");
        return varnix(command, {.environment = {firstVariable, secondVariable}});
    }

    static constexpr char count = 10;
};

TEST_F(Fleet, InSharesIsJudgedAsAtOnce)
{
    DbBuilder().u16("gain", {1}).write(m_directory / "nodes/e node/unit.db");
    const ProcessResult result = audit({});
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(result.out, auditAtOnce().out);
}

TEST_F(Fleet, EndsWithTheGreatestStatus)
{
    EXPECT_EQ(audit({}).status, 0);
    writeFile(m_directory / "nodes/b node/node.cfg", "varnix: {");
    fs::remove(m_directory / "nodes/e node/node.cfg");
    EXPECT_EQ(audit({}).status, 4);
    EXPECT_EQ(audit({"--unknown"}).status, 2);
}

TEST_F(Fleet, AShareThatIsLostIsANodeThatCannotBeRead)
{
    fs::create_directory(m_directory / "bin");
    for (const char* const end : {"exit 255", "kill -KILL $$"}) {
        write("bin/varnix", std::string("#!/bin/sh\ncase $* in *'e node'*) ") + end +
                                ";; esac\nexec " VARNIX_TOOL " \"$@\"\n");
        fs::permissions(m_directory / "bin/varnix", fs::perms::owner_all);
        const ProcessResult result = audit({}, m_directory / "bin");
        EXPECT_EQ(result.status, 3) << end << result.err;
        EXPECT_THAT(result.out, HasSubstr("\"nodes/j node\"")) << "the other shares are judged";
    }
}

TEST_F(Fleet, WhatSchemasHoldAgainstEachOtherCounts)
{
    write("twice.schema", "/gain U16 0..9 default 10\n");
    EXPECT_EQ(audit({"--schema", m_directory / "twice.schema"}).status, 1);
}

} // namespace
} // namespace Varnix::Test

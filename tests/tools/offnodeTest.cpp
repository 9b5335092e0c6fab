#include "tests/support/nodeDirectory.h"
#include "tests/tools/toolTest.h"

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

/** The command of a build without the library, on a host where no process of a node runs. */
class Offnode : public ToolTest
{
protected:
    Offnode()
    {
        fs::create_directory(m_directory / "node");
        write("unit.txt", "/unit/gain U16 17\n");
        write("production.txt", "/componentConfigId CHAR \"unit_1\"\n");
        write("node.schema", "/unit/gain U16[1] 0..63\n");
        write("node/node.cfg", configText({{"unit", "1", {"/unit.db"}}}));
        for (const std::string name : {"unit", "production"})
            EXPECT_EQ(varnix({"build", "-o", "node/" + name + ".db", name + ".txt"}).status, 0);
    }

    /** With the node's directory as its root. */
    ProcessResult ofNode(const std::string& command, const std::vector<std::string>& words)
    {
        std::vector<std::string> line{command,        "--root",         "node",
                                      "--production", "/production.db", "/node.cfg"};
        line.insert(line.end(), words.begin(), words.end());
        return varnix(line, {.environment = {firstVariable, secondVariable}});
    }
};

TEST_F(Offnode, HasTheCommandsThatJudgeFiles)
{
    expectResult(varnix({"dump", "node/unit.db"}), 0, "/unit/gain U16 17\n", "");
    expectResult(varnix({"diff", "node/unit.db", "node/unit.db"}), 0, "", "");
    EXPECT_EQ(varnix({"check", "--schema", "node.schema", "node/unit.db"}).status, 0);
    EXPECT_EQ(varnix({"install", "node/unit.db", "other.db"}).status, 0);
    EXPECT_EQ(varnix({"audit", "--production", "/production.db", "node"}).status, 0);
    EXPECT_EQ(varnix({"generate", "markdown", "node.schema"}).status, 0);
    EXPECT_THAT(ofNode("explain", {"/unit/gain"}).out, HasSubstr("17"));
    const ProcessResult tried = ofNode("try", {"db", "write", "/unit/gain", "64"});
    EXPECT_EQ(tried.status, 0);
    EXPECT_THAT(tried.out, HasSubstr("17 -> 64"));
}

TEST_F(Offnode, SaysOfEachOtherCommandThatItNeedsTheLibrary)
{
    for (const std::string name : {"get", "ps", "trace", "watch", "write"}) {
        const std::string message =
            "varnix: this build was made without the library and only judges files; varnix " +
            name + " needs a build with it";
        expectResult(varnix({name}), 5, "", message + "\n");
        expectResult(varnix({name, "--json", "node.cfg", "-x", "/unit/gain"}), 5,
                     R"({"errors":[{"message":")" + message + "\",\"status\":5}]}\n",
                     message + "\n");
        EXPECT_THAT(varnix({"--help"}).out,
                    ContainsRegex("\n  " + name + " +Not here: this build only judges files\n"));
    }
}

TEST_F(Offnode, NeedsNeitherLttngNorALibraryOfTheNode)
{
    const ProcessResult libraries = run({"ldd", VARNIX_TOOL});
    EXPECT_EQ(libraries.status, 0);
    EXPECT_THAT(libraries.out,
                AllOf(HasSubstr("libconfig"), Not(HasSubstr("lttng")), Not(HasSubstr("libitc")),
                      Not(HasSubstr("libtpt")), Not(HasSubstr("libvarnix"))));
}

/** pkg-config finds libconfig and nothing else. */
TEST_F(Offnode, IsConfiguredWhereLttngIsNotInstalled)
{
    ProcessResult found = run({"pkg-config", "--variable=pcfiledir", "libconfig"});
    ASSERT_EQ(found.status, 0) << found.err;
    found.out.pop_back();
    fs::create_directory(m_directory / "pkgconfig");
    fs::create_symlink(fs::path(found.out) / "libconfig.pc",
                       m_directory / "pkgconfig/libconfig.pc");
    const std::vector<std::string> environment{
        "PKG_CONFIG_LIBDIR=" + (m_directory / "pkgconfig").string(), "PKG_CONFIG_PATH"};

    const ProcessResult configured =
        run({VARNIX_CMAKE, "-G", "Ninja", "-S", VARNIX_SOURCE_DIR, "-B", "build",
             "-DVARNIX_BUILD_LIBRARY=OFF"},
            {.directory = m_directory.path(), .environment = environment});
    ASSERT_EQ(configured.status, 0) << configured.err;
    const ProcessResult steps = run({VARNIX_CMAKE, "--build", "build", "--", "-n", "-v"},
                                    {.directory = m_directory.path()});
    EXPECT_EQ(steps.status, 0) << steps.err;
    EXPECT_THAT(steps.out, AllOf(HasSubstr("bin/varnix"), Not(HasSubstr("lttng")),
                                 Not(HasSubstr("/platform/")), Not(HasSubstr("libvarnix.so"))));
}

} // namespace
} // namespace Varnix::Test

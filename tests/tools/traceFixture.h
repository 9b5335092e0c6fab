#ifndef VARNIX_TESTS_TRACEFIXTURE_H
#define VARNIX_TESTS_TRACEFIXTURE_H

#include "recording/sessionDaemon.h"
#include "tests/support/child.h"
#include "tests/support/nodeDirectory.h"
#include "toolTest.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace Varnix::Test {

/** Sessions of the varnix command, at a session daemon that outlives the tests. */
class Trace : public ToolTest
{
protected:
    Trace()
    {
        constexpr int skipped = 77; // as TraceSession says it
        if (std::getenv("VARNIX_TEST_WITHOUT_TRACES") != nullptr)
            std::_Exit(skipped);
        Recording::startDaemon(Recording::DaemonUse::FOR_GOOD);
        // A loaded machine takes long to make a process known to the daemon.
        ::setenv("LTTNG_UST_REGISTER_TIMEOUT", "-1", 1);
        node.production(DbBuilder().text("/componentConfigId", "unit_R1"));
    }

    /** A program of the shell's that `varnix trace` runs. */
    ProcessResult traced(std::vector<std::string> options, const std::string& script)
    {
        options.insert(options.begin(), "trace");
        options.insert(options.end(), {"--", "sh", "-c", script});
        return varnix(options, {.environment = {"TOOL=" VARNIX_TOOL, "HOLDER=" HOLDER}});
    }

    /** The temporary directories that processes of the command have left. */
    static std::ptrdiff_t directoriesOf(pid_t process)
    {
        const std::string start = "varnix-trace-" + std::to_string(process) + '-';
        return std::count_if(
            std::filesystem::directory_iterator(std::filesystem::temp_directory_path()), {},
            [&](const auto& entry) { return entry.path().filename().string().starts_with(start); });
    }

    static bool hasSession(pid_t process)
    {
        return run({"lttng", "list"}).out.find("varnix-trace-" + std::to_string(process) + '-') !=
               std::string::npos;
    }

    NodeDirectory node;
};

/** `varnix trace` without a command, recording. */
class Recorder
{
public:
    explicit Recorder(std::vector<std::string> options = {}) : m_child(command(std::move(options)))
    {
        EXPECT_EQ(m_child.err().readUntil("\n"), "varnix: recording; Ctrl-C ends it\n");
    }

    Child& child() { return m_child; }

private:
    static std::vector<std::string> command(std::vector<std::string> options)
    {
        options.insert(options.begin(), {VARNIX_TOOL, "trace"});
        return options;
    }

    Child m_child;
};

} // namespace Varnix::Test

#endif

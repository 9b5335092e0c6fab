#include "traceFixture.h"

#include <cstdio>

#include <grp.h>
#include <nlohmann/json.hpp>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace Varnix::Test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

/** The status of a process that the host does not let a test start. */
constexpr int notPermitted = 99;

bool isPermittedHere(const ProcessResult& result, const char* what)
{
    if (result.status == notPermitted)
        std::printf("not permitted here: %s\n", what);
    return result.status != notPermitted;
}

/** Runs the command where no session daemon runs. */
class TraceDaemon : public ToolTest
{
protected:
    /** A shell's script, with TOOL the command and PIDFILE what a running daemon has. */
    ProcessResult alone(const std::string& script)
    {
        ProcessSetup setup;
        setup.directory = m_directory.path();
        setup.environment = {"TOOL=" VARNIX_TOOL, "TMPDIR=" + m_directory.path().string()};
        if (::geteuid() == 0) { // root's daemon has a fixed place
            setup.environment.emplace_back("PIDFILE=/run/lttng/lttng-sessiond.pid");
            setup.before = [] {
                if (::unshare(CLONE_NEWNS) != 0 ||
                    ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                    ::mount("none", "/run", "tmpfs", 0, nullptr) != 0)
                    ::_exit(notPermitted);
            };
        } else {
            setup.environment.push_back("LTTNG_HOME=" + m_directory.path().string());
            setup.environment.emplace_back("PIDFILE=.lttng/lttng-sessiond.pid");
        }
        return run({"/bin/sh", "-c", script}, setup);
    }

    /** Says so where the host does not let root have mounts of its own. */
    static bool isPermitted(const ProcessResult& result)
    {
        return isPermittedHere(result, "mounts of its own");
    }
};

TEST_F(TraceDaemon, IsStartedAndEndedWithTheRecording)
{
    const ProcessResult result =
        alone("$TOOL trace -- sh -c 'test -s $PIDFILE && echo runs' && test ! -e $PIDFILE");
    if (isPermitted(result))
        expectResult(result, 0, "runs\n", "");
}

TEST_F(TraceDaemon, OfOthersIsLeftAlone)
{
    // Of two recordings, as one that is told to end takes a moment for it.
    const ProcessResult result =
        alone("lttng-sessiond --daemonize --no-kernel >/dev/null 2>&1; daemon=$(cat $PIDFILE); "
              "$TOOL trace -- true; $TOOL trace -- true; "
              "test \"$(cat $PIDFILE)\" = $daemon && echo runs; kill $(cat $PIDFILE); "
              "while test -e $PIDFILE; do sleep 0.01; done");
    EXPECT_TRUE(!isPermitted(result) || result.out == "runs\n") << result.out << result.err;
}

TEST_F(TraceDaemon, EndsWithTheLastOfSeveralRecordings)
{
    const ProcessResult result =
        alone("$TOOL trace -- sh -c '$TOOL trace -- true; test -s $PIDFILE && echo runs' && "
              "test ! -e $PIDFILE && echo ended");
    if (isPermitted(result))
        expectResult(result, 0, "runs\nended\n", "");
}

TEST_F(TraceDaemon, OfARecordingThatWasKilledEndsWithTheNext)
{
    const ProcessResult result =
        alone("$TOOL trace -- sh -c 'kill -KILL $PPID'; test -s $PIDFILE && echo runs; "
              "$TOOL trace -- true; test ! -e $PIDFILE && echo ended");
    EXPECT_TRUE(!isPermitted(result) || result.out == "runs\nended\n") << result.out << result.err;
}

TEST_F(TraceDaemon, OfAKilledRecordingEndsWithTheNextEvenIfItsDirectoryIsGone)
{
    const ProcessResult result = alone(
        "$TOOL trace -- sh -c 'kill -KILL $PPID'; test -s $PIDFILE && echo runs; "
        "rm -r $TMPDIR/varnix-trace-*; $TOOL trace -- true; test ! -e $PIDFILE && echo ended");
    EXPECT_TRUE(!isPermitted(result) || result.out == "runs\nended\n") << result.out << result.err;
}

TEST_F(TraceDaemon, ThatIsNotInstalledMakesTheNodeUnusable)
{
    const ProcessResult result = alone("PATH=/nowhere; $TOOL trace");
    if (!isPermitted(result))
        return;
    const std::string message = "varnix: LTTng cannot be used: there is no babeltrace2\n"
                                "Install what it takes: apt-get install lttng-tools babeltrace2";
    expectResult(result, 5, "", message + "\n");

    const nlohmann::json error{{"message", message}, {"status", 5}};
    const ProcessResult document = alone("PATH=/nowhere; $TOOL trace --json");
    EXPECT_EQ(document.status, 5);
    EXPECT_EQ(nlohmann::json::parse(document.out),
              nlohmann::json({{"events", nlohmann::json::array()}, {"errors", {error}}}));
}

/** An ordinary user, who is in no group of LTTng's and has a directory. */
class TraceUser : public ToolTest
{
protected:
    static constexpr uid_t nobody = 65534;

    TraceUser() { static_cast<void>(::chown(m_directory.path().c_str(), nobody, nobody)); }

    /** A shell's script in the directory, with TOOL the command. */
    ProcessResult asUser(const std::string& script, const std::string& home)
    {
        ProcessSetup setup;
        setup.directory = m_directory.path();
        setup.environment = {"TOOL=" VARNIX_TOOL, "LTTNG_HOME", "HOME=" + home,
                             "LTTNG_UST_REGISTER_TIMEOUT=-1"}; // a loaded machine takes long
        if (::geteuid() == 0)
            setup.before = [] {
                if (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0)
                    ::_exit(notPermitted);
            };
        return run({"/bin/sh", "-c", "$TOOL --version >/dev/null || exit 99; " + script}, setup);
    }

    static bool isPermitted(const ProcessResult& result)
    {
        return isPermittedHere(result, "another user who runs the command");
    }
};

TEST_F(TraceUser, RecordsProcessesOfTheirOwn)
{
    const ProcessResult result =
        asUser("$TOOL trace -- $TOOL get absent.cfg /a 2>/dev/null; echo $?; "
               "test ! -e .lttng/lttng-sessiond.pid && echo ended",
               m_directory.path());
    if (!isPermitted(result))
        return;
    EXPECT_THAT(result.out, HasSubstr("INFO Initializing database from config file: absent.cfg\n"));
    EXPECT_THAT(result.out, EndsWith("\n5\nended\n")) << "the status is that of the command";
    EXPECT_EQ(result.err, "");
}

TEST_F(TraceUser, WithoutADirectoryIsToldToNameOne)
{
    for (const auto& [home, reason] : {std::pair("/absent", "No such file or directory"),
                                       std::pair("/proc", "Permission denied")}) {
        const ProcessResult result = asUser("$TOOL trace -- true", home);
        if (isPermitted(result))
            expectResult(result, 5, "",
                         std::string("varnix: LTTng cannot be used: the directory ") + home +
                             "/.lttng cannot be used: " + reason +
                             "\nName one of your own in LTTNG_HOME.\n");
    }
}

} // namespace
} // namespace Varnix::Test

#include "tests/support/tracedProcess.h"
#include "trace.h"

#include <csignal>
#include <cstdio>
#include <numeric>

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Test {
namespace {

namespace Trace = Backend::Trace;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

auto saying(const std::string& message)
{
    return Field("msg", &TraceRecord::msg, message);
}

void report(const std::string& message)
{
    Trace::error([&] { return message; });
}

/** The session of this process, with nothing in it. */
TraceSession& listening()
{
    TraceSession& trace = TraceSession::ofThisProcess();
    trace.take();
    return trace;
}

std::string everyByteButNul()
{
    std::string bytes(255, '\0');
    std::iota(bytes.begin(), bytes.end(), '\1');
    return bytes;
}

TEST(TraceSession, DeliversTheFieldsOfARecord)
{
    TraceSession& trace = listening();
    Trace::trace1([] { return std::string("text"); });
    const unsigned int line = __LINE__ - 1;
    const auto records = trace.take();

    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].provider, "com_quilmar_velsko_varnix");
    EXPECT_EQ(records[0].event, "TRACE1");
    EXPECT_EQ(records[0].level, 8);
    EXPECT_EQ(records[0].vpid, ::getpid());
    EXPECT_EQ(records[0].file, "traceSessionTest.cpp");
    EXPECT_EQ(records[0].line, line);
    EXPECT_EQ(records[0].obj, "-");
    EXPECT_EQ(records[0].msg, "text");
}

TEST(TraceSession, DeliversMessagesOfAnyCharactersUnchanged)
{
    TraceSession& trace = listening();
    const std::string messages[] = {
        " ",
        "\nfirst line\nsecond line\n",
        "quote \" and backslash \\ and \\n",
        "\", event.fields = { file = \"x\" }",
        "caf\xC3\xA9",
        everyByteButNul(),
        std::string(60000, 'x'),
    };
    for (const std::string& message : messages)
        report(message);

    const auto records = trace.take();
    ASSERT_THAT(records, SizeIs(std::size(messages)));
    for (std::size_t i = 0; i < records.size(); ++i)
        EXPECT_EQ(records[i].msg, messages[i]);
}

TEST(TraceSession, DeliversEachRecordOnce)
{
    TraceSession& trace = listening();
    EXPECT_THAT(trace.take(), IsEmpty());
    report("first");
    report("second");
    EXPECT_THAT(trace.take(), ElementsAre(saying("first"), saying("second")));
    EXPECT_THAT(trace.take(), IsEmpty());
    report("third");
    EXPECT_THAT(trace.take(), ElementsAre(saying("third")));
}

TEST(TraceSession, LosesNoneOfManyRecords)
{
    TraceSession& trace = listening();
    for (int i = 0; i < 5000; ++i)
        report(std::to_string(i));
    const auto records = trace.take();
    ASSERT_THAT(records, SizeIs(5000));
    for (std::size_t i = 0; i < records.size(); ++i)
        ASSERT_EQ(records[i].msg, std::to_string(i));
}

TEST(TracedProcess, IsRecordedFromItsFirstInstructionToItsEnd)
{
    const TracedRun run = runTraced({TRACING_PROGRAM, "die"});
    EXPECT_TRUE(WIFSIGNALED(run.status));
    EXPECT_THAT(run.records,
                ElementsAre(saying("before main"), saying("in main"), saying("at the end")));
}

TEST(TracedProcess, HasTheEnvironmentItIsGiven)
{
    const TracedRun run = runTraced({TRACING_PROGRAM, "getenv", "SOME_NAME"}, {{"SOME_NAME", "v"}});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.records, testing::Contains(saying("v")));
}

TEST(TracedProcess, IsKilledWhenItTakesTooLong)
{
    const TracedRun run = runTraced({TRACING_PROGRAM, "hang"}, {}, std::chrono::seconds(4));
    EXPECT_TRUE(WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGKILL);
}

TEST(TracedProcess, IsNotSeenByTheSessionOfAnother)
{
    TraceSession& trace = listening();
    report("mine");
    EXPECT_THAT(runTraced({TRACING_PROGRAM, "die"}).records,
                Not(testing::Contains(saying("mine"))));
    EXPECT_THAT(trace.take(), ElementsAre(saying("mine")));
}

std::string recordingSessions()
{
    FILE* const output = ::popen("lttng list", "r");
    std::string text;
    for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output))
        text += static_cast<char>(c);
    ::pclose(output);
    return text;
}

TEST(TraceSession, OfAProcessThatDiedIsClearedAwayByTheNext)
{
    TraceSession follower;
    const pid_t child = startTraced(follower, {TRACING_PROGRAM, "orphan"});
    const std::string orphan = "varnix-test-trace-" + std::to_string(child) + "-";
    // While it lives: whatever test comes next clears its session away.
    EXPECT_TRUE(waitUntil([&] { return recordingSessions().find(orphan) != std::string::npos; }));
    ::kill(child, SIGKILL);
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);

    const TraceSession next;
    EXPECT_THAT(recordingSessions(), Not(HasSubstr(orphan)));
}

} // namespace
} // namespace Varnix::Test

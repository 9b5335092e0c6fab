#include "traceFixture.h"

#include <csignal>
#include <sstream>

#include <nlohmann/json.hpp>

namespace Varnix::Test {
namespace {

using Json = nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

TEST_F(Trace, PrintsEachEventWithWhatToDoAboutIt)
{
    write("bad.cfg", "varnix = { component_versions = ( { } ); };");
    const ProcessResult result = traced({}, "exec $TOOL get bad.cfg /a 2>/dev/null");
    EXPECT_THAT(result.out,
                MatchesRegex(".*\n[0-9]+-[0-9]+-[0-9]+T[0-9:.]+[+-][0-9]+ [0-9]+ varnix ERROR "
                             "Failed to get non-null component_id for element number 0 in "
                             "varnix.component_versions list in configuration file: bad.cfg\n"
                             "    -> make the element a group, `\\{ … \\}`, with a `component_id` "
                             "that is a text\n"
                             ".*"));
    EXPECT_THAT(result.out, HasSubstr("INFO Initializing database from config file: bad.cfg\n2"))
        << "there is nothing to do about it";
}

TEST_F(Trace, PrintsAnEventAsItComes)
{
    Recorder recorder;
    varnix({"get", m_directory / "first.cfg", "/a"});
    recorder.child().out().readUntil("first.cfg");
    varnix({"get", m_directory / "second.cfg", "/a"});
    recorder.child().out().readUntil("second.cfg");
    recorder.child().signal(SIGINT);
    EXPECT_EQ(recorder.child().wait(), 0);
}

TEST_F(Trace, FollowsTheCommandAndItsChildrenAlone)
{
    const ProcessResult result =
        traced({}, "$TOOL get parent.cfg /a & wait; env -u VARNIX_TRACE_REPORT_TO $TOOL get "
                   "other.cfg /a; sh -c '($TOOL get child.cfg /a); true'");
    EXPECT_THAT(result.out, AllOf(HasSubstr("parent.cfg"), HasSubstr("child.cfg")));
    EXPECT_THAT(result.out, Not(HasSubstr("other.cfg")));
}

TEST_F(Trace, EndsWithTheStatusOfTheCommand)
{
    EXPECT_EQ(traced({}, "exit 0").status, 0);
    EXPECT_EQ(traced({}, "exit 3").status, 3);
    EXPECT_EQ(traced({}, "kill -KILL $$").status, 128 + SIGKILL);
    expectResult(varnix({"trace", "--", "./absent"}), 127, "",
                 "varnix: ./absent: No such file or directory\n");
}

TEST_F(Trace, GivesTheCommandItsOwnInputAndOutput)
{
    write("input", "a line\n");
    const ProcessResult result = varnix({"trace", "--", "cat"}, {.input = m_directory / "input"});
    expectResult(result, 0, "a line\n", "");
}

TEST_F(Trace, OfErrorsLeavesOutWhatIsAsItShouldBe)
{
    node.configuration("absent.cfg", {{"unit", "R1", {"absent.db"}}});
    const std::string config = node / "absent.cfg";
    const std::string script = "exec $TOOL get " + config + " /a 2>/dev/null";
    EXPECT_THAT(traced({}, script).out, HasSubstr(" INFO Initializing"));
    const std::string errors = traced({"--errors"}, script).out;
    EXPECT_THAT(errors, AllOf(HasSubstr(" INFO ABN: Failed opening db file absent.db\n"),
                              HasSubstr(" ERROR Failed to load and parse file: absent.db\n")));
    EXPECT_THAT(errors, Not(HasSubstr("Initializing")));
}

TEST_F(Trace, AsADocumentSaysTheSame)
{
    const ProcessResult result =
        traced({"--json"}, "echo output; $TOOL get absent.cfg /a 2>/dev/null; exit 7");
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.err, "output\n") << "the document has standard output to itself";
    const Json document = Json::parse(result.out);
    EXPECT_EQ(document, Json({{"events", document["events"]}, {"errors", Json::array()}}));
    const Json& last = document["events"].back();
    EXPECT_GT(last.at("pid"), 1);
    EXPECT_THAT(last.at("time").get<std::string>(),
                MatchesRegex("[0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+[.][0-9]+[+-][0-9]+"));
    EXPECT_THAT(last.at("source").get<std::string>(), MatchesRegex("[a-zA-Z]+[.]cpp:[0-9]+"));
    EXPECT_EQ(last, Json({{"time", last.at("time")},
                          {"pid", last.at("pid")},
                          {"command", "varnix"},
                          {"level", "ERROR"},
                          {"message", "Failed to load and parse configuration file: absent.cfg"},
                          {"source", last.at("source")},
                          {"meaning", "the event before says why, see the next table"},
                          {"advice", "correct what the event before names"}}));
}

TEST_F(Trace, AsADocumentHasALineForEachEvent)
{
    write("bad.cfg", "varnix = { component_versions = ( { } ); };");
    std::istringstream out(traced({"--json"}, "$TOOL get bad.cfg /a 2>/dev/null").out);
    std::string line;
    std::getline(out, line);
    EXPECT_EQ(line, "{\"events\": [");
    std::vector<Json> events;
    while (std::getline(out, line) && line.starts_with("{\"time\":"))
        events.push_back(Json::parse(line.substr(0, line.find_last_of('}') + 1)));
    EXPECT_EQ(line, "], \"errors\": []}");
    EXPECT_FALSE(std::getline(out, line));

    // One without anything to do about it and one that says it all come before the last.
    ASSERT_GE(events.size(), 3U);
    const Json& begun = events[events.size() - 3];
    EXPECT_EQ(begun.at("meaning"), "a client asked for a database");
    EXPECT_FALSE(begun.contains("advice"));
    const Json& wrong = events[events.size() - 2];
    EXPECT_FALSE(wrong.contains("meaning"));
    EXPECT_EQ(wrong.at("advice"),
              "make the element a group, `{ … }`, with a `component_id` that is a text");
}

TEST_F(Trace, AsADocumentIsWholeWithoutAnEvent)
{
    EXPECT_EQ(Json::parse(traced({"--json"}, "true").out),
              Json({{"events", Json::array()}, {"errors", Json::array()}}));
}

TEST_F(Trace, LeavesOutEventsOfAnotherFormAndCountsThem)
{
    const std::string script = FOREIGN "; exec $TOOL get absent.cfg /a 2>/dev/null";
    const std::string said =
        "varnix: 2 events have a form that this release does not know and were left out\n";
    const ProcessResult text = traced({}, script);
    EXPECT_EQ(text.status, 5) << "the command's";
    EXPECT_THAT(text.out, AllOf(HasSubstr("file: absent.cfg\n"), Not(HasSubstr("foreign"))));
    EXPECT_EQ(text.err, said);

    const ProcessResult result = traced({"--json"}, script);
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.err, said);
    EXPECT_THAT(Json::parse(result.out)["events"].back()["message"], HasSubstr("absent.cfg"));
}

TEST_F(Trace, AsADocumentIsWholeWhereARecordingHasNoDirectory)
{
    const ProcessResult result =
        varnix({"trace", "--json", "--", "true"}, {.environment = {"TMPDIR=/absent"}});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, MatchesRegex("varnix: [^\n]+\n"));
    const Json error{{"message", result.err.substr(0, result.err.size() - 1)}, {"status", 3}};
    EXPECT_EQ(Json::parse(result.out), Json({{"events", Json::array()}, {"errors", {error}}}));
}

std::ptrdiff_t occurrences(const std::string& text, const std::string& all)
{
    std::ptrdiff_t count = 0;
    for (std::size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1))
        ++count;
    return count;
}

TEST_F(Trace, PrintsEachOfThousandsOfEventsOnce)
{
    constexpr int count = 1500;
    const ProcessResult result =
        traced({}, "i=0; while [ $i -lt " + std::to_string(count) +
                       " ]; do set -- $i.cfg \"$@\"; i=$((i+1)); done; "
                       "for part in 1 2 3; do $HOLDER \"$@\" </dev/null >/dev/null; done");
    for (const int number : {0, 1, count / 2, count - 1})
        EXPECT_EQ(occurrences("INFO Initializing database from config file: " +
                                  std::to_string(number) + ".cfg\n",
                              result.out),
                  3);
    EXPECT_EQ(occurrences(" INFO Initializing", result.out), 3 * count);
    EXPECT_EQ(result.err, "") << "none is lost";
}

TEST_F(Trace, EndsWhenNobodyReadsAnyMore)
{
    const ProcessResult result = run({"sh", "-c", VARNIX_TOOL " trace 2>/dev/null | true"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.signal, 0);
}

TEST_F(Trace, SendsItsSignalsToTheCommand)
{
    Child recorder({VARNIX_TOOL, "trace", "--", "sh", "-c",
                    "trap 'echo ended; exit 4' TERM; echo runs; while :; do sleep 0.01; done"});
    EXPECT_EQ(recorder.out().line(), "runs");
    recorder.signal(SIGTERM);
    EXPECT_EQ(recorder.out().line(), "ended");
    EXPECT_EQ(recorder.wait(), 4);
}

class TraceEnd : public Trace, public testing::WithParamInterface<int>
{
};

TEST_P(TraceEnd, LeavesNothing)
{
    Recorder recorder;
    const pid_t process = recorder.child().id();
    EXPECT_TRUE(hasSession(process));
    EXPECT_EQ(directoriesOf(process), 1);
    recorder.child().signal(GetParam());
    EXPECT_EQ(recorder.child().wait(), 0);
    EXPECT_FALSE(hasSession(process));
    EXPECT_EQ(directoriesOf(process), 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, TraceEnd, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(Trace, ASignalThatIsIgnoredOnEntryDoesNotEndIt)
{
    Child recorder({"/bin/sh", "-c", "trap '' HUP; exec '" VARNIX_TOOL "' trace"});
    recorder.err().readUntil("Ctrl-C ends it\n");
    recorder.signal(SIGHUP);
    varnix({"get", m_directory / "first.cfg", "/a"});
    recorder.out().readUntil("first.cfg");
    recorder.signal(SIGTERM);
    EXPECT_EQ(recorder.wait(), 0);
}

TEST_F(Trace, ThatWasKilledIsClearedAwayByTheNext)
{
    Recorder recorder;
    const pid_t process = recorder.child().id();
    recorder.child().signal(SIGKILL);
    EXPECT_EQ(recorder.child().wait(), 128 + SIGKILL);
    EXPECT_EQ(traced({}, "true").status, 0);
    EXPECT_FALSE(hasSession(process));
    EXPECT_EQ(directoriesOf(process), 0);
}

TEST_F(Trace, ThatWasKilledEndsItsCommand)
{
    Child recorder({VARNIX_TOOL, "trace", "--", "sh", "-c", "echo runs; exec cat"});
    EXPECT_EQ(recorder.out().line(), "runs");
    recorder.signal(SIGKILL);
    EXPECT_EQ(recorder.out().rest(), "") << "cat still has the pipe";
}

TEST_F(Trace, WaitsASecondForAProcessThatConnectsAndReportsNothing)
{
    const ProcessResult result = traced({}, R"(exec python3 -c '
import os, socket, sys
silent = socket.socket(socket.AF_UNIX)
silent.connect("\0" + os.environ["VARNIX_TRACE_REPORT_TO"])
sys.exit(7 if silent.recv(1) == b"" else 1)')");
    EXPECT_EQ(result.status, 7) << result.err;
}

TEST_F(Trace, ASignalOfTheTerminalReachesTheCommandOnce)
{
    const std::string script = "trap 'echo interrupted' INT; echo ready; "
                               "until test \"$line\" = end; do read line; done";
    Child child({VARNIX_TOOL, "trace", "--", "sh", "-c", script}, true);
    child.out().readUntil("ready\r\n");
    constexpr int times = 3;
    for (int i = 0; i < times; ++i) {
        child.write("\x03");
        child.out().readUntil("interrupted\r\n");
    }
    child.write("end\n");
    EXPECT_THAT(child.out().rest(), Not(HasSubstr("interrupted")));
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(Trace, ItsCommandBlocksAndIgnoresTheSignalsThatItDoesByItself)
{
    static_cast<void>(std::signal(SIGPIPE, SIG_DFL)); // whoever runs the tests may ignore it
    const std::string script = "grep -E 'Sig(Blk|Ign)' /proc/self/status";
    EXPECT_EQ(traced({}, script).out, run({"sh", "-c", script}).out);
}

} // namespace
} // namespace Varnix::Test

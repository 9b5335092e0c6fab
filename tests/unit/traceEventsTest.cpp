#include "tests/support/process.h"
#include "tests/support/tracedProcess.h"
#include "trace.h"

#include <algorithm>
#include <map>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/wait.h>

extern "C" {
/** The linker's names for the list of tracepoints in this program. */
extern lttng_ust_tracepoint* const firstTracepoint[] __asm__("__start_lttng_ust_tracepoints_ptrs")
    __attribute__((weak, visibility("hidden")));
extern lttng_ust_tracepoint* const lastTracepoint[] __asm__("__stop_lttng_ust_tracepoints_ptrs")
    __attribute__((weak, visibility("hidden")));
}

namespace Varnix::Backend {
namespace {

using Test::run;
using Test::runTraced;
using Test::TracedRun;
using Test::TraceRecord;
using Test::TraceSession;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

constexpr const char* provider = "com_quilmar_velsko_varnix";

struct Shape
{
    std::string signature;
    std::vector<std::string> fields;
};

const Shape plain{"const char*, file, unsigned int, line, const char*, msg",
                  {"file", "line", "msg"}};
const Shape object{"const char*, file, unsigned int, line, const char*, obj, const char*, msg",
                   {"file", "line", "obj", "msg"}};
const Shape received{"const char*, file, unsigned int, line, const char*, obj, unsigned int, "
                     "sig_no, const char*, msg",
                     {"file", "line", "obj", "sig_no", "msg"}};
const Shape sent{"const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, "
                 "unsigned int, pid, const char*, msg",
                 {"file", "line", "obj", "sig_no", "pid", "msg"}};
const Shape bytes{"const char*, file, unsigned int, line, const char*, obj, const char*, msg, "
                  "const char*, data, size_t, datalen",
                  {"file", "line", "obj", "msg", "data"}};
const Shape stamped{"const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, "
                    "const char*, process, const char*, msg, const char*, data, size_t, datalen",
                    {"file", "line", "sec", "usec", "process", "msg", "data"}};

struct Event
{
    std::string name;
    int level;
    const Shape& shape;
};

const Event events[] = {
    {"ERROR", 3, plain},         {"INFO", 6, plain},          {"STATE_CHANGE", 7, object},
    {"TRACE1", 8, object},       {"TRACE2", 9, object},       {"TRACE3", 10, object},
    {"TRACE4", 11, object},      {"TRACE5", 12, object},      {"TRACE6", 13, object},
    {"TRACE7", 14, object},      {"REC_SIG", 7, received},    {"SEND_SIG", 7, sent},
    {"DATA", 14, bytes},         {"TRACE_UTS1", 8, stamped},  {"TRACE_UTS2", 9, stamped},
    {"TRACE_UTS3", 10, stamped}, {"TRACE_UTS4", 11, stamped}, {"TRACE_UTS5", 12, stamped},
    {"TRACE_UTS6", 13, stamped}, {"TRACE_UTS7", 14, stamped},
};

/** What each field of the records holds. */
const std::map<std::string, std::string> values{
    {"file", "a file"},       {"line", "4294967295"},
    {"obj", "an object"},     {"msg", "a\n\"message"},
    {"sig_no", "4294967294"}, {"pid", "4294967293"},
    {"sec", "4294967292"},    {"usec", "4294967291"},
    {"process", "a process"}, {"data", std::string("\0\xFF z\n", 5)},
};

const char* text(const char* field)
{
    return values.at(field).c_str();
}

unsigned int number(const char* field)
{
    return static_cast<unsigned int>(std::stoul(values.at(field)));
}

#define EMIT(event, ...)                                                                           \
    lttng_ust_tracepoint(com_quilmar_velsko_varnix, event, text("file"), number("line"),           \
                         __VA_ARGS__)
#define EMIT_OBJECT(event) EMIT(event, text("obj"), text("msg"))
#define EMIT_STAMPED(event)                                                                        \
    EMIT(event, number("sec"), number("usec"), text("process"), text("msg"), text("data"),         \
         values.at("data").size())

void emitEveryEvent()
{
    EMIT(ERROR, text("msg"));
    EMIT(INFO, text("msg"));
    EMIT_OBJECT(STATE_CHANGE);
    EMIT_OBJECT(TRACE1);
    EMIT_OBJECT(TRACE2);
    EMIT_OBJECT(TRACE3);
    EMIT_OBJECT(TRACE4);
    EMIT_OBJECT(TRACE5);
    EMIT_OBJECT(TRACE6);
    EMIT_OBJECT(TRACE7);
    EMIT(REC_SIG, text("obj"), number("sig_no"), text("msg"));
    EMIT(SEND_SIG, text("obj"), number("sig_no"), number("pid"), text("msg"));
    EMIT(DATA, text("obj"), text("msg"), text("data"), values.at("data").size());
    EMIT_STAMPED(TRACE_UTS1);
    EMIT_STAMPED(TRACE_UTS2);
    EMIT_STAMPED(TRACE_UTS3);
    EMIT_STAMPED(TRACE_UTS4);
    EMIT_STAMPED(TRACE_UTS5);
    EMIT_STAMPED(TRACE_UTS6);
    EMIT_STAMPED(TRACE_UTS7);
}

TEST(TraceEvents, AreRecordedWithTheirLevelsAndFields)
{
    TraceSession::ofThisProcess().take();
    emitEveryEvent();
    const std::vector<TraceRecord> records = TraceSession::ofThisProcess().take();

    ASSERT_THAT(records, SizeIs(std::size(events)));
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].provider, provider);
        EXPECT_EQ(records[i].event, events[i].name);
        EXPECT_EQ(records[i].level, events[i].level) << events[i].name;
        std::vector<std::pair<std::string, std::string>> expected;
        for (const std::string& field : events[i].shape.fields)
            expected.emplace_back(field, values.at(field));
        EXPECT_EQ(records[i].fields, expected) << events[i].name;
    }
}

TEST(TraceEvents, HaveTheirSignaturesAndAreAllThereIs)
{
    std::map<std::string, std::string> signatures;
    for (const lttng_ust_tracepoint* tracepoint : std::span(firstTracepoint, lastTracepoint)) {
        EXPECT_STREQ(tracepoint->provider_name, provider);
        signatures.emplace(tracepoint->event_name, tracepoint->signature);
    }
    std::map<std::string, std::string> expected;
    for (const Event& event : events)
        expected.emplace(event.name, event.shape.signature);
    EXPECT_EQ(signatures, expected);
}

TEST(Trace, RecordsTheSiteAndTheMessage)
{
    TraceSession::ofThisProcess().take();
    const auto message = [] { return std::string("message"); };
    const unsigned int line = __LINE__;
    Trace::error(message);
    Trace::info(message);
    Trace::trace1(message);
    const std::vector<TraceRecord> records = TraceSession::ofThisProcess().take();
    const std::string file = "traceEventsTest.cpp";
    ASSERT_THAT(records, SizeIs(3));
    EXPECT_THAT(records[0].fields,
                ElementsAre(Pair("file", file), Pair("line", std::to_string(line + 1)),
                            Pair("msg", "message")));
    EXPECT_THAT(records[1].fields,
                ElementsAre(Pair("file", file), Pair("line", std::to_string(line + 2)),
                            Pair("msg", "message")));
    EXPECT_THAT(records[2].fields,
                ElementsAre(Pair("file", file), Pair("line", std::to_string(line + 3)),
                            Pair("obj", "-"), Pair("msg", "message")));
}

TEST(Trace, NamesTheNodesPathOfASourceWhateverTheCompilerIsToldToCallIt)
{
    for (const char* const program : {MAPPED_PROGRAMS}) {
        const TracedRun traced = runTraced({program});
        EXPECT_EQ(traced.status, 0) << program;
        EXPECT_THAT(traced.records,
                    ElementsAre(Field("file", &TraceRecord::file, "../../git/sw/src/dbUtils.cpp")))
            << program;
    }
}

TEST(Trace, ComposesNothingWhileNoSessionRecords)
{
    EXPECT_EQ(run({TRACING_PROGRAM, "count"}).status, 0);
}

TEST(Trace, ComposesEachMessageOnceWhileASessionRecords)
{
    const TracedRun traced = runTraced({TRACING_PROGRAM, "count"});
    ASSERT_TRUE(WIFEXITED(traced.status));
    EXPECT_EQ(WEXITSTATUS(traced.status), 3);
}

TEST(Trace, DropsAMessageThatFindsNoMemory)
{
    TraceSession::ofThisProcess().take();
    EXPECT_NO_THROW(Trace::error([]() -> std::string { throw std::bad_alloc(); }));
    EXPECT_THAT(TraceSession::ofThisProcess().take(), IsEmpty());
}

TEST(Trace, LetsOtherExceptionsPass)
{
    TraceSession::ofThisProcess().take();
    EXPECT_THROW(Trace::error([]() -> std::string { throw 7; }), int);
}

} // namespace
} // namespace Varnix::Backend

#ifndef VARNIX_TESTS_TRACESESSION_H
#define VARNIX_TESTS_TRACESESSION_H

#include "recording/session.h"
#include "recording/traceFiles.h"
#include "tests/support/traceRecord.h"

#include <cstdint>
#include <vector>

namespace Varnix::Test {

/**
 * A real LTTng session that records all events of the library in the processes it follows, and in
 * no other, so that tests run side by side.
 *
 *     TraceSession& trace = TraceSession::ofThisProcess();
 *     store.updateDb("/a", "x", false);
 *     EXPECT_EQ(trace.take().at(0).msg, "...");
 *
 * A session daemon is started when none answers and stays for the next test. The session and its
 * directory go with the object; those of a process that died are cleared away by the next session.
 * Everything that fails throws std::runtime_error.
 */
class TraceSession
{
public:
    /** The session that follows this process; there is one, from the first call to the exit. */
    static TraceSession& ofThisProcess();

    /** A session that follows no process yet. */
    TraceSession();

    /** From now on records the process too. It must link the tracer, directly or not. */
    void follow(pid_t process);

    /**
     * What was recorded since the last call, oldest first. Events that occur in another thread or
     * process during the call may be lost.
     */
    std::vector<TraceRecord> take();

private:
    Recording::Session m_session;
    Recording::TraceFiles m_files;
    std::uint64_t m_discarded = 0;
};

} // namespace Varnix::Test

#endif

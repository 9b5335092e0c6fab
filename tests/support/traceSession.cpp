#include "tests/support/traceSession.h"

#include "tests/support/waitUntil.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>

#include <unistd.h>

namespace Varnix::Test {

namespace {

/**
 * Ends a test that cannot say anything without traces where VARNIX_TEST_WITHOUT_TRACES tells that
 * none can be recorded; the runner knows the status.
 */
void skipWithoutTraces()
{
    constexpr int skipped = 77;
    if (std::getenv("VARNIX_TEST_WITHOUT_TRACES") != nullptr) {
        std::puts("Skipped: no trace session can be recorded here.");
        std::fflush(stdout);
        std::_Exit(skipped);
    }
}

Recording::Settings settings()
{
    skipWithoutTraces();
    Recording::Settings made;
    made.prefix = "varnix-test-trace-";
    made.processes = Recording::Processes::FOLLOWED;
    made.daemon = Recording::DaemonUse::FOR_GOOD;
    return made;
}

} // namespace

TraceSession& TraceSession::ofThisProcess()
{
    skipWithoutTraces();
    static const std::unique_ptr<TraceSession> session = [] {
        Recording::startDaemon(Recording::DaemonUse::FOR_GOOD);
        if (!waitUntil([] { return Recording::isRegistered(::getpid()); }))
            throw std::runtime_error("the session daemon does not know this process");
        auto made = std::make_unique<TraceSession>();
        made->follow(::getpid());
        return made;
    }();
    return *session;
}

TraceSession::TraceSession() : m_session(settings()), m_files(m_session.files()) {}

void TraceSession::follow(pid_t process)
{
    m_session.follow(process);
}

std::vector<TraceRecord> TraceSession::take()
{
    m_session.stop();
    std::vector<TraceRecord> records = m_files.take();
    if (m_files.leftOut() != 0)
        throw std::runtime_error("the library traced a record of another form");
    const std::uint64_t discarded = m_session.discarded();
    if (std::exchange(m_discarded, discarded) != discarded)
        throw std::runtime_error("the tracer discarded records");
    m_session.start();
    return records;
}

} // namespace Varnix::Test

#include "dbContainer.h"
#include "tests/support/traceSession.h"
#include "trace.h"

#include <csignal>
#include <cstdlib>
#include <string>

#include <unistd.h>

// A program that reports and ends as its first argument says, for the tests of trace sessions.

namespace {

void report(const std::string& message)
{
    Varnix::Backend::Trace::error([&] { return message; });
}

/** How many messages are composed for one event of each kind. */
int countComposed()
{
    namespace Trace = Varnix::Backend::Trace;
    int count = 0;
    const auto compose = [&] { return std::to_string(++count); };
    Trace::error(compose);
    Trace::info(compose);
    Trace::trace1(compose);
    return count;
}

const bool reportedBeforeMain = [] {
    report("before main");
    return true;
}();

} // namespace

int main(int argc, char** argv)
{
    const std::string deed = argc > 1 ? argv[1] : "";
    report("in main");
    if (deed == "hang")
        for (;;)
            ::pause();
    if (deed == "getenv" && argc > 2)
        report(std::getenv(argv[2]));
    if (deed == "count")
        return countComposed();
    if (deed == "load" && argc > 2)
        return Varnix::Backend::DbContainer().loadProductionDb(std::string(argv[2])) ? 0 : 1;
    if (deed == "orphan") {
        const Varnix::Test::TraceSession session;
        for (;;)
            ::pause();
    }
    report("at the end");
    if (deed == "die")
        std::raise(SIGKILL);
    return reportedBeforeMain ? 0 : 1;
}

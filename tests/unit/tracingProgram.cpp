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

const bool reportedBeforeMain = [] {
    report("before main");
    return true;
}();

} // namespace

int main(int argc, char** argv)
{
    const std::string deed = argc > 1 ? argv[1] : "";
    report("in main");
    if (deed == "hang") {
        for (;;)
            ::pause();
    }
    if (deed == "getenv" && argc > 2)
        report(std::getenv(argv[2]));
    if (deed == "orphan") {
        const Varnix::Test::TraceSession session;
        std::raise(SIGKILL);
    }
    report("at the end");
    if (deed == "die")
        std::raise(SIGKILL);
    return reportedBeforeMain ? 0 : 1;
}

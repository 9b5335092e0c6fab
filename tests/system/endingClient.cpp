#include "tests/support/waitUntil.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace {

using namespace Varnix::V1;

/** Lives until after main, as a client's own registry of handles does. */
std::shared_ptr<DatabaseIf> kept;

std::vector<std::uint16_t> gain()
{
    std::vector<std::uint16_t> values;
    kept->get("/unit/gain", values);
    return values;
}

/** Waits until writes come in. */
bool isWritten()
{
    return Varnix::Test::waitUntil([] { return gain().at(0) != 0; });
}

/** Children that read and end by themselves; whether all of them did. */
bool childrenEndWell()
{
    constexpr int children = 200;
    for (int i = 0; i < children; ++i) {
        // One that hangs is no good end either: it ends this process, and goes with it.
        ::alarm(30);
        const pid_t child = ::fork();
        if (child == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::exit(gain().size() == 4 ? 0 : 1);
        }
        int status = 0;
        if (::waitpid(child, &status, 0) != child || status != 0)
            return false;
    }
    ::alarm(0);
    return true;
}

} // namespace

/**
 * A client that keeps a handle in a static object and ends in a chosen way:
 *     ending_client CONFIG return|exit|fork [burst]
 * With "burst" it ends while writes come in.
 */
int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    kept = DbRegistryIf::getInstance().initDb(arguments.at(0));
    if (!kept || gain().size() != 4)
        return 1;
    if (arguments.size() > 2 && !isWritten())
        return 1;
    if (arguments.at(1) == "exit") {
        std::thread([] { std::exit(0); }).detach();
        for (;;)
            ::pause();
    }
    return arguments.at(1) != "fork" || childrenEndWell() ? 0 : 1;
}

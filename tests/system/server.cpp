#include "subscriptionServer.h"

#include <cstdlib>
#include <iostream>

namespace {

using Varnix::Test::SubscriptionServer;

/** Writes ever new values to whoever subscribes, until it is killed. */
[[noreturn]] void stream(SubscriptionServer& server)
{
    constexpr int burst = 20;
    std::cout << "streaming" << std::endl;
    for (unsigned value = 1;; ++value) {
        server.serve(1);
        for (int i = 0; i < burst; ++i)
            server.write({"db", "write", "/unit/gain", "-r", "4", std::to_string(value % 60000)});
    }
}

/** Writes one value to every store of `count` subscribers and lives on. */
[[noreturn]] void writeOnce(SubscriptionServer& server, std::size_t count, const std::string& value)
{
    server.awaitSubscribers(count);
    server.write({"db", "write", "/unit/gain", "-r", "4", value});
    server.write({"db", "write", "/node/gain", value});
    std::cout << "written" << std::endl;
    for (;;)
        server.serve(60'000);
}

} // namespace

/**
 * A subscription server in a process of its own, to be killed by the test:
 *     system_server stream | write SUBSCRIBERS VALUE
 */
int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    SubscriptionServer server;
    if (arguments.size() == 3 && arguments[0] == "write")
        writeOnce(server, std::stoul(arguments[1]), arguments[2]);
    if (arguments.size() == 1 && arguments[0] == "stream")
        stream(server);
    return 2;
}

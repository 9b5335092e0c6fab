#ifndef VARNIX_TESTS_SERVEDFIXTURE_H
#define VARNIX_TESTS_SERVEDFIXTURE_H

#include "liveFixture.h"
#include "tests/support/waitUntil.h"

#include <memory>
#include <string>
#include <vector>

namespace Varnix::Test {

/** A node with processes that a running server writes to. */
class Served : public Live
{
protected:
    void startServer(std::vector<std::string> options = {})
    {
        options.insert(options.begin(), DBCSI_SERVER);
        server = std::make_unique<Child>(options);
        server->write("wait 0\n");
        EXPECT_THAT(server->out().line().value_or(""), testing::HasSubstr(" subscriber"));
    }

    /** Returns when every subscriber has handled what it was sent. */
    void settle()
    {
        server->write("settle 20\n");
        EXPECT_THAT(server->out().line().value_or(""), testing::HasSubstr("settled "));
    }

    /** Starts a process that has subscribed. */
    std::string subscribe(const std::vector<std::string>& configs)
    {
        const std::string pid = hold(configs);
        EXPECT_TRUE(
            waitUntil([&] { return lineOf(pid).find("\tsubscribed\t") != std::string::npos; }));
        return pid;
    }

    ProcessResult written(std::vector<std::string> words, std::vector<std::string> options = {})
    {
        options.insert(options.begin(), "write");
        options.insert(options.end(), {"db", "write"});
        options.insert(options.end(), words.begin(), words.end());
        return varnix(options);
    }

    std::unique_ptr<Child> server;
};

} // namespace Varnix::Test

#endif

#ifndef VARNIX_TESTS_LIVEFIXTURE_H
#define VARNIX_TESTS_LIVEFIXTURE_H

#include "tests/support/child.h"
#include "tests/support/nodeDirectory.h"
#include "toolTest.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace Varnix::Test {

/** A node with processes that hold its databases, in a mailbox directory of its own. */
class Live : public ToolTest
{
protected:
    Live()
    {
        ::setenv("VARNIX_ITC_DIR", (node / "").c_str(), 1);
        node.production(DbBuilder().text("/componentConfigId", "unit_R1").u8("/board", {7}));
        first = configuration("first", DbBuilder().u16("/gain", {1, 2}).text("/label", "a label"));
        second = configuration("second", DbBuilder().u16("/gain", {3}).u8("/empty", {}));
    }

    std::string configuration(const std::string& name, const DbBuilder& builder)
    {
        return node.configuration(name + ".cfg",
                                  {{"unit", "R1", {node.database(name + ".db", builder)}}});
    }

    /** Starts a process that holds the databases, and returns its id. */
    std::string hold(const std::vector<std::string>& configs)
    {
        std::vector<std::string> command{HOLDER};
        command.insert(command.end(), configs.begin(), configs.end());
        holders.push_back(std::make_unique<Child>(command));
        EXPECT_EQ(holders.back()->out().line(), "ready");
        return std::to_string(holders.back()->id());
    }

    /** The line of `ps` about a process. */
    std::string lineOf(const std::string& pid)
    {
        const std::string out = varnix({"ps"}).out;
        std::size_t at = out.starts_with(pid + "\t") ? 0 : out.find("\n" + pid + "\t");
        if (at == std::string::npos)
            return {};
        at += at == 0 ? 0 : 1;
        return out.substr(at, out.find('\n', at) - at);
    }

    NodeDirectory node;
    std::string first;
    std::string second;
    std::vector<std::unique_ptr<Child>> holders;
};

} // namespace Varnix::Test

#endif

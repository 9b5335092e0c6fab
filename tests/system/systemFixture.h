#ifndef VARNIX_TESTS_SYSTEMFIXTURE_H
#define VARNIX_TESTS_SYSTEMFIXTURE_H

#include "tests/support/child.h"
#include "tests/support/countOf.h"
#include "tests/support/nodeDirectory.h"

#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace Varnix::Test {

/**
 * A node with a production database ("/node/gain"), a component ("/unit/gain", four elements, and
 * "/unit/label") and mailboxes of its own; the processes that a test starts find it.
 */
class Node
{
public:
    Node()
    {
        m_directory.production(
            DbBuilder().text("/componentConfigId", "board_1").u16("/node/gain", {0}));
        ::setenv("VARNIX_ITC_DIR", (m_directory / "itc").c_str(), 1);
        const std::string file = m_directory.database(
            "component.db", DbBuilder().u16("/unit/gain", {0, 0, 0, 0}).text("/unit/label", "a"));
        m_configuration = m_directory.configuration("node.cfg", {{"board", "1", {file}}});
    }

    const std::string& configuration() const noexcept { return m_configuration; }

private:
    NodeDirectory m_directory;
    std::string m_configuration;
};

} // namespace Varnix::Test

#endif

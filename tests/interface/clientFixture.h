#ifndef VARNIX_TESTS_CLIENTFIXTURE_H
#define VARNIX_TESTS_CLIENTFIXTURE_H

#include "tests/support/nodeDirectory.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace Varnix::Test {

using V1::DatabaseIf;
using V1::DbRegistryIf;
using RetCode = DatabaseIf::RetCode;

/** Lets a failed comparison name the code. */
std::ostream& operator<<(std::ostream& stream, RetCode code);

/**
 * A node whose production database is read once, as in every client's process: the registry lives
 * as long as the process. It holds "/componentConfigId" and what productionDatabase() adds.
 */
class ClientFixture : public testing::Test
{
protected:
    static void SetUpTestSuite();

    static const NodeDirectory& node();
    static DbBuilder productionDatabase();

    /** A key of every type, named for it. */
    static DbBuilder everyType();

    /** A handle on the database that `builder` describes. */
    static std::shared_ptr<DatabaseIf> handle(const DbBuilder& builder);

    /** The configuration file of a database that `builder` describes. */
    static std::string configuration(const DbBuilder& builder);
};

} // namespace Varnix::Test

#endif

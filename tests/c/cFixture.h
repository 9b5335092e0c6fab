#ifndef VARNIX_TESTS_C_CFIXTURE_H
#define VARNIX_TESTS_C_CFIXTURE_H

#include "tests/interface/clientFixture.h"

#include <memory>
#include <ostream>
#include <string>

#include <varnix/varnix.h>

/** Lets a failed comparison name the status. */
std::ostream& operator<<(std::ostream& stream, varnix_status status);

namespace Varnix::Test {

struct CloseDatabase
{
    void operator()(varnix_database* database) const { varnix_close(database); }
};
using CHandle = std::unique_ptr<varnix_database, CloseDatabase>;

/** Tests of the interface for C, each with a handle on a database with a key of every type. */
class CFixture : public ClientFixture
{
protected:
    /** A handle on the database that `builder` describes. */
    static CHandle open(const DbBuilder& builder);

    const CHandle m_handle = open(everyType());
};

} // namespace Varnix::Test

#endif

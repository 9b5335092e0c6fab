#include "cFixture.h"

std::ostream& operator<<(std::ostream& stream, varnix_status status)
{
    return stream << varnix_status_name(status);
}

namespace Varnix::Test {

CHandle CFixture::open(const DbBuilder& builder)
{
    varnix_database* database = nullptr;
    EXPECT_EQ(varnix_open(configuration(builder).c_str(), &database), VARNIX_OK);
    return CHandle(database);
}

} // namespace Varnix::Test

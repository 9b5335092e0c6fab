#include "cFixture.h"

std::ostream& operator<<(std::ostream& stream, varnix_status status)
{
    return stream << varnix_status_name(status);
}

namespace Varnix::Test {

DbBuilder CFixture::everyType()
{
    return DbBuilder()
        .u32("/u32", {0, 4294967295})
        .u16("/u16", {0, 258, 65535})
        .u8("/u8", {0, 255})
        .s32("/s32", {-2147483648LL, 2147483647, -1})
        .s16("/s16", {-32768, 32767, -2})
        .s8("/s8", {-128, 127})
        .text("/text", "  two  words ");
}

CHandle CFixture::open(const DbBuilder& builder)
{
    varnix_database* database = nullptr;
    EXPECT_EQ(varnix_open(configuration(builder).c_str(), &database), VARNIX_OK);
    return CHandle(database);
}

} // namespace Varnix::Test

#include "clientFixture.h"

#include <atomic>
#include <cstdlib>

namespace Varnix::Test {

std::ostream& operator<<(std::ostream& stream, RetCode code)
{
    switch (code) {
    case RetCode::OK:
        return stream << "OK";
    case RetCode::KEY_NOT_FOUND:
        return stream << "KEY_NOT_FOUND";
    case RetCode::TYPE_MISMATCH:
        return stream << "TYPE_MISMATCH";
    }
    return stream << static_cast<int>(code);
}

void ClientFixture::SetUpTestSuite()
{
    node().production(productionDatabase());
    // Mailboxes of these tests meet no others.
    ::setenv("VARNIX_ITC_DIR", (node() / "itc").c_str(), 1);
}

const NodeDirectory& ClientFixture::node()
{
    static const NodeDirectory directory;
    return directory;
}

DbBuilder ClientFixture::productionDatabase()
{
    return DbBuilder()
        .text("/componentConfigId", "board_1")
        .u16("/both", {1})
        .u32("/first/u32", {1})
        .u16("/first/u16", {1})
        .u8("/first/u8", {1})
        .s32("/first/s32", {1})
        .s16("/first/s16", {1})
        .s8("/first/s8", {1})
        .text("/first/text", "of production")
        .text("/textInProduction", "production text")
        .u8("/productionOnly", {1, 2});
}

DbBuilder ClientFixture::everyType()
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

std::string ClientFixture::configuration(const DbBuilder& builder)
{
    static std::atomic<int> count{0};
    const std::string name = "component" + std::to_string(++count);
    return node().configuration(name + ".cfg",
                                {{"board", "1", {node().database(name + ".db", builder)}}});
}

std::shared_ptr<DatabaseIf> ClientFixture::handle(const DbBuilder& builder)
{
    return DbRegistryIf::getInstance().initDb(configuration(builder));
}

} // namespace Varnix::Test

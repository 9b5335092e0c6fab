#include <cstdlib>
#include <string>

#include <varnix/dbRegistryIf.h>

// What the instruction counts are taken of: countedProgram CONFIG WHAT COUNT makes one database and
// reads COUNT times from it.

namespace {

using Varnix::V1::DatabaseIf;

template <typename Output>
bool readAgain(const DatabaseIf& database, const std::string& key, long count)
{
    Output output;
    for (long i = 0; i < count; ++i)
        if (database.get(key, output) != DatabaseIf::RetCode::OK)
            return false;
    return true;
}

bool readAgain(const DatabaseIf& database, const std::string& what, long count)
{
    if (what == "U32x4")
        return readAgain<std::vector<std::uint32_t>>(database, "/u32", count);
    if (what == "text24")
        return readAgain<std::string>(database, "/text", count);
    if (what == "U8x1024")
        return readAgain<std::vector<std::uint8_t>>(database, "/u8", count);
    if (what == "U16x512")
        return readAgain<std::vector<std::uint16_t>>(database, "/u16", count);
    return what == "load";
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    const auto database = Varnix::V1::DbRegistryIf::getInstance().initDb(argv[1]);
    return database && readAgain(*database, argv[2], std::atol(argv[3])) ? 0 : 1;
}

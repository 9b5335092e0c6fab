// A client of the first version of the interface, compiled against that version's headers for good.
// It reads every type and prints what it gets.
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include <varnix/dbRegistryIf.h>
#include <varnix/version.h>

using Varnix::V1::DatabaseIf;
using Varnix::V1::DbRegistryIf;

namespace {

void printValue(const std::string& text)
{
    std::cout << text;
}

template <typename Element>
void printValue(const std::vector<Element>& values)
{
    for (const Element& value : values)
        std::cout << '<' << +value << '>';
}

void printValue(const std::vector<std::string>& words)
{
    for (const std::string& word : words)
        std::cout << '<' << word << '>';
}

template <typename Value>
void print(const DatabaseIf& database, const std::string& key)
{
    Value value;
    const DatabaseIf::RetCode result = database.get(key, value);
    std::cout << key << ' ' << static_cast<int>(result) << ' ';
    printValue(value);
    std::cout << '\n';
}

} // namespace

int main(int, char** argv)
{
    std::cout << "compiled against " << VARNIX_VERSION << '\n';
    if (std::string(Varnix::V1::version()).empty())
        return 1;
    const std::shared_ptr<DatabaseIf> database = DbRegistryIf::getInstance().initDb(argv[1]);
    if (!database)
        return 1;
    print<std::vector<std::uint8_t>>(*database, "/u8");
    print<std::vector<std::int8_t>>(*database, "/s8");
    print<std::vector<std::uint16_t>>(*database, "/u16");
    print<std::vector<std::int16_t>>(*database, "/s16");
    print<std::vector<std::uint32_t>>(*database, "/u32");
    print<std::vector<std::int32_t>>(*database, "/s32");
    print<std::vector<std::string>>(*database, "/text");
    print<std::string>(*database, "/text");
    print<std::string>(*database, "/u8");
    print<std::string>(*database, "/absent");
    return 0;
}

#include "tests/support/waitUntil.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

namespace {

using namespace Varnix::V1;
using Values = std::vector<std::uint16_t>;
using Handle = std::shared_ptr<DatabaseIf>;

Values valuesOf(const DatabaseIf& db, const std::string& key)
{
    Values values;
    db.get(key, values);
    return values;
}

/** Whether every store of this process holds `value`. */
bool everywhere(const std::vector<Handle>& handles, std::uint16_t value)
{
    for (const Handle& handle : handles)
        if (valuesOf(*handle, "/unit/gain") != Values(4, value) ||
            valuesOf(*handle, "/node/gain") != Values{value})
            return false;
    return true;
}

/** How many of `count` reads answer OK. */
int reads(const DatabaseIf& db, int count)
{
    int done = 0;
    Values values;
    for (int i = 0; i < count; ++i)
        done += db.get("/unit/gain", values) == DatabaseIf::RetCode::OK ? 1 : 0;
    return done;
}

} // namespace

/**
 * A client with two databases that does what its standard input says:
 *     wait VALUE      answers "seen" as soon as every store holds it
 *     read COUNT      answers how many reads went well
 */
int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    const std::vector<Handle> handles = {DbRegistryIf::getInstance().initDb(argv[1]),
                                         DbRegistryIf::getInstance().initDb(argv[1])};
    if (!handles[0] || !handles[1])
        return 1;
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        int number = 0;
        words >> command >> number;
        if (command == "wait") {
            const auto value = static_cast<std::uint16_t>(number);
            const bool seen = Varnix::Test::waitUntil([&] { return everywhere(handles, value); });
            std::cout << (seen ? "seen" : "not seen") << std::endl;
        } else {
            std::cout << reads(*handles[0], number) << std::endl;
        }
    }
    return 0;
}

// A client as a user of the installed library writes it.
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>
#include <varnix/version.h>

int main(int argc, char** argv)
{
    using namespace Varnix::V1;

    if (argc != 2)
        return 2;
    const std::shared_ptr<DatabaseIf> db = DbRegistryIf::getInstance().initDb(argv[1]);
    if (!db)
        return 1;
    std::vector<std::uint16_t> gain;
    if (db->get("/unit/gain", gain) != DatabaseIf::RetCode::OK)
        return 1;
    std::cout << version();
    for (std::size_t i = 0; i < gain.size(); ++i)
        std::cout << ' ' << gain[i];
    std::cout << std::endl;
    return 0;
}

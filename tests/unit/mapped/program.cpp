#include "dbUtils.h"

// Reports from one source of the library, which the compiler was told to call otherwise.

int main()
{
    std::vector<Varnix::Backend::DBUtils::DbConfiguration> entries;
    return Varnix::Backend::DBUtils::parseDbConfigFile("/absent", entries) ? 1 : 0;
}

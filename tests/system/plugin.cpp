#include <cstdint>
#include <vector>

#include <varnix/databaseIf.h>
#include <varnix/dbRegistryIf.h>

/** What a program in C loads: reads a database and returns how many elements it found. */
extern "C" VARNIX_EXPORT int countElements(const char* configuration)
{
    using namespace Varnix::V1;
    const auto db = DbRegistryIf::getInstance().initDb(configuration);
    std::vector<std::uint16_t> values;
    return db && db->get("/unit/gain", values) == DatabaseIf::RetCode::OK
               ? static_cast<int>(values.size())
               : -1;
}

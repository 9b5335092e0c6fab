#include "dbRegistry.h"

#include "database.h"
#include "dbRegistryImpl.h"

namespace Varnix::V1 {

DbRegistryIf::~DbRegistryIf() = default;

DbRegistryIf& DbRegistryIf::getInstance()
{
    static DbRegistry registry;
    return registry;
}

std::shared_ptr<DatabaseIf> DbRegistry::initDb(const std::string& configFile)
{
    Backend::DbRegistryImpl* const registry = Backend::DbRegistryImpl::getInstance();
    const auto db = registry->initDb(configFile);
    if (!db)
        return nullptr;
    try {
        return std::make_shared<Database>(db);
    } catch (...) { // without a handle, nobody else would ever remove it
        registry->removeDb(db);
        throw;
    }
}

} // namespace Varnix::V1

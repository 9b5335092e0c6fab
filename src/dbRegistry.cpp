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
    const auto db = Backend::DbRegistryImpl::getInstance()->initDb(configFile);
    if (!db)
        return nullptr;
    return std::make_shared<Database>(db);
}

} // namespace Varnix::V1

#ifndef VARNIX_DBREGISTRY_H
#define VARNIX_DBREGISTRY_H

#include <varnix/dbRegistryIf.h>

namespace Varnix::V1 {

/** The registry that clients see; all state is in the backend's. */
class DbRegistry final : public DbRegistryIf
{
public:
    std::shared_ptr<DatabaseIf> initDb(const std::string& configFile) override;
};

} // namespace Varnix::V1

#endif

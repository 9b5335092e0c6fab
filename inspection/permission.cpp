#include "inspection/permission.h"

#include <fstream>

#include <unistd.h>

namespace Varnix::Inspection {

namespace {

constexpr const char* scopeFile = "/proc/sys/kernel/yama/ptrace_scope";
constexpr int nobody = 3; // the scope that shuts out root, too

} // namespace

std::string permissionHint(const Permission& permission)
{
    const std::string scope =
        std::string("as ") + scopeFile + " is " + std::to_string(permission.scope);
    if (permission.scope >= nobody)
        return "nobody may look here, " + scope;
    if (permission.user == 0)
        return "look with the capability CAP_SYS_PTRACE, which root does not have here";
    if (permission.scope > 0)
        return "only root may look here, " + scope;
    if (permission.owner == permission.user)
        return "only root may look here: the process has other rights than its user, or shuts "
               "others out";
    return "look as the process's own user or as root";
}

Permission permissionFor(std::optional<uid_t> owner)
{
    Permission permission{.scope = 0, .user = ::geteuid(), .owner = owner};
    std::ifstream file(scopeFile);
    if (!(file >> permission.scope))
        permission.scope = 0;
    return permission;
}

} // namespace Varnix::Inspection

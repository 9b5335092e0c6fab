#ifndef VARNIX_INSPECTION_PERMISSION_H
#define VARNIX_INSPECTION_PERMISSION_H

#include <optional>
#include <string>

#include <sys/types.h>

namespace Varnix::Inspection {

/** Who asks to look at a process, and what the host says of that. */
struct Permission
{
    /** /proc/sys/kernel/yama/ptrace_scope; 0 where there is none. */
    int scope = 0;
    /** The user that asks. */
    uid_t user = 0;
    /** The process's user; nothing where that is not known, or there are several. */
    std::optional<uid_t> owner;
};

/** What would permit a look that the host has refused. */
std::string permissionHint(const Permission& permission);

/** That of this process. */
Permission permissionFor(std::optional<uid_t> owner);

} // namespace Varnix::Inspection

#endif

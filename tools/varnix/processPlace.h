#ifndef VARNIX_TOOL_PROCESSPLACE_H
#define VARNIX_TOOL_PROCESSPLACE_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace Varnix::Tool {

/**
 * Makes this process find files as `process` does: in that one's working directory, and with the
 * production database that its environment named when it started. Failure with NODE_UNUSABLE.
 *
 * Only for a process that has no other thread.
 */
void takePlaceOf(pid_t process);

/** The production databases that the process's environment named; none where it cannot be read. */
std::vector<std::string> productionPathsOf(pid_t process);

} // namespace Varnix::Tool

#endif

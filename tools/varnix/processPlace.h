#ifndef VARNIX_TOOL_PROCESSPLACE_H
#define VARNIX_TOOL_PROCESSPLACE_H

#include "nodePlace.h"

#include <string>
#include <vector>

#include <sys/types.h>

namespace Varnix::Tool {

/**
 * Where `process` finds absolute paths: below /proc/PID/root where it has another root directory or
 * mount namespace than this process.
 */
NodePlace placeOf(pid_t process);

/**
 * Makes this process find relative paths as `process` does, in that one's working directory, and
 * with the production database that its environment named when it started; returns placeOf() it.
 * Failure with NODE_UNUSABLE.
 *
 * Only for a process that has no other thread.
 */
NodePlace takePlaceOf(pid_t process);

/** The production databases that the process's environment named; none where it cannot be read. */
std::vector<std::string> productionPathsOf(pid_t process);

} // namespace Varnix::Tool

#endif

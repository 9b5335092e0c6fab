#ifndef VARNIX_TOOL_OLDVALUES_H
#define VARNIX_TOOL_OLDVALUES_H

#include "dbfile/comparison.h"

#include <string>
#include <vector>

#include <sys/types.h>

namespace Varnix::Tool {

/** A running process that still holds what a file said before. */
struct OldHolder
{
    pid_t process;
    std::string command;
    std::vector<std::string> keys;
};

/**
 * The processes that may be looked at, whose configuration or environment names the file at `path`,
 * and that hold the first value of one of the differences.
 */
std::vector<OldHolder> holdersOfOld(const std::string& path,
                                    const std::vector<DbFile::Difference>& differences);

} // namespace Varnix::Tool

#endif

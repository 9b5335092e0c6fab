#ifndef VARNIX_TOOL_TARGET_H
#define VARNIX_TOOL_TARGET_H

#include "command.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Varnix::Tool {

/** Whose parameters are asked for: those of a configuration, or of a running process. */
struct Target
{
    /** The process to look into; 0: a client of this node. */
    pid_t process = 0;
    /** The configuration file; with a process, the one of its databases, if it is named. */
    std::optional<std::string> config;
    std::vector<std::string> keys;
    /** What is read from the command line as CONFIG KEY..., with a process KEY... */
    std::vector<std::string> words;
};

/** Adds --pid, --config and the words. Returns --pid, for what excludes it. */
CLI::Option* addTarget(CLI::App& command, Target& target);

/**
 * Takes the words of the command line apart: the first is CONFIG where no process is named. Failure
 * with WRONG_USAGE, which calls the subcommand `name`.
 */
Target withWords(Target target, const std::string& name);

} // namespace Varnix::Tool

#endif

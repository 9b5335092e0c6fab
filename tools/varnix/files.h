#ifndef VARNIX_TOOL_FILES_H
#define VARNIX_TOOL_FILES_H

#include <functional>
#include <string>
#include <string_view>

namespace Varnix::Tool {

/** The content of a file; Failure with Unreadable. */
std::string readInput(const std::string& path);

/** The content of a database file that a loader would accept; Failure with Unreadable or Invalid.
 */
std::string readAccepted(const std::string& path);

/** Replaces a file's content, whole or not at all; Failure with Unreadable. */
void writeOutput(const std::string& path, std::string_view content);

/** The same with content that comes in pieces; an empty one is the end. */
void writeOutput(const std::string& path, const std::function<std::string()>& next);

/** Failure with WRONG_USAGE where `path` is the input `replaced`, by whatever name. */
void refuseReplacing(const std::string& replaced, const std::string& path, const std::string& role,
                     const std::string& option);

} // namespace Varnix::Tool

#endif

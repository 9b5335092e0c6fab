#ifndef VARNIX_TOOL_FILES_H
#define VARNIX_TOOL_FILES_H

#include <optional>
#include <string>
#include <string_view>

namespace Varnix::Tool {

/** The content of a file; Failure with Unreadable. */
std::string readInput(const std::string& path);

/** The content of a database file that a loader would accept; Failure with Unreadable or Invalid.
 */
std::string readAccepted(const std::string& path);

/** A file's content and why a loader would not take it, in words; no reason: it would. */
struct Image
{
    std::string bytes;
    std::optional<std::string> problem;
    /** Whether the file is loaded, though its records may not be readable: no other is looked for.
     */
    bool isLoaded = false;
};

Image readImage(const std::string& path);

/** Why a loader would not take the file, in words; nothing: it would. */
std::optional<std::string> problemWith(const std::string& path);

/** Replaces a file's content, whole or not at all; Failure with Unreadable. */
void writeOutput(const std::string& path, std::string_view content);

} // namespace Varnix::Tool

#endif

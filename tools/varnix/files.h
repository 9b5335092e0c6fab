#ifndef VARNIX_TOOL_FILES_H
#define VARNIX_TOOL_FILES_H

#include "dbfile/database.h"

#include <optional>
#include <string>
#include <string_view>

namespace Varnix::Tool {

/** The content of a file; Failure with Unreadable. */
std::string readInput(const std::string& path);

/** The database in a file that a loader would accept; Failure with Unreadable or Invalid. */
DbFile::Database readDatabase(const std::string& path);

/** A file's content and why a loader would not take it, in words; no reason: it would. */
struct Image
{
    std::string bytes;
    std::optional<std::string> problem;
};

Image readImage(const std::string& path);

/** Why a loader would not take the file, in words; nothing: it would. */
std::optional<std::string> problemWith(const std::string& path);

/** Replaces a file's content, whole or not at all; Failure with Unreadable. */
void writeOutput(const std::string& path, std::string_view content);

} // namespace Varnix::Tool

#endif

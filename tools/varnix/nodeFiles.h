#ifndef VARNIX_TOOL_NODEFILES_H
#define VARNIX_TOOL_NODEFILES_H

#include "databaseFile.h"

#include <string>
#include <vector>

/** What a node's directory holds where the command line does not say. */
namespace Varnix::Tool {

/**
 * The component configurations below the node's directory, as paths of the node, in order: files
 * with the extension .cfg that have a list of components or cannot be understood.
 */
std::vector<std::string> configurationsIn(const std::string& node);

/**
 * The one database file below the node's directory that holds identities, as a path of the node.
 * Failure with UNREADABLE where there is not exactly one.
 */
std::string productionIn(const std::string& node, const FileReader& read);

} // namespace Varnix::Tool

#endif

#ifndef VARNIX_TOOL_NODEPLACE_H
#define VARNIX_TOOL_NODEPLACE_H

#include "command.h"
#include "production.h"

#include <optional>
#include <string>
#include <vector>

namespace Varnix::Tool {

/** Where a node's files are found, and who the node is. */
struct NodePlace
{
    /** The directory below which the node's absolute paths are looked for; empty: this host. */
    std::string root;
    /** The production database, in place of the environment's. */
    std::optional<std::string> production;
    /** In place of those in the production database. */
    std::vector<std::string> identities;
    /** Whether relative paths are looked for below the root, too. */
    bool isWholeNode = false;

    /** Whether a client of this host finds the same. */
    bool isHere() const noexcept { return root.empty() && !production && identities.empty(); }

    /** Where the node's `path` is on this host. */
    std::string locate(const std::string& path) const;

    /** What names the production database, in the order in which it is tried. */
    std::vector<ProductionFile> productionFiles() const;
};

/** Adds --root, --production and --identity to a command; none of them goes with `process`. */
void addNodeOptions(CLI::App& command, NodePlace& place, CLI::Option* process);

} // namespace Varnix::Tool

#endif

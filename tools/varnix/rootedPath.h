#ifndef VARNIX_TOOL_ROOTEDPATH_H
#define VARNIX_TOOL_ROOTEDPATH_H

#include <string>

namespace Varnix::Tool {

/**
 * Where a node whose files are below `root` finds `path`; a relative path is looked for from the
 * root. Symbolic links are followed as on the node: neither an absolute one nor ".." leads out of
 * `root`. Failure with UNREADABLE where too many of them follow each other.
 */
std::string pathBelow(const std::string& root, const std::string& path);

} // namespace Varnix::Tool

#endif

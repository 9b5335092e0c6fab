#ifndef VARNIX_TOOL_EXPLAINFINDINGS_H
#define VARNIX_TOOL_EXPLAINFINDINGS_H

#include "explanation.h"
#include "nodeFinding.h"
#include "nodePlace.h"
#include "schema/schema.h"

#include <string>
#include <vector>

namespace Varnix::Tool {

/** What is looked for beside what keeps a client from its values. */
struct FindingScope
{
    /** Where the node's files are. */
    const NodePlace& place;
    /** What a schema is held against; it reports nothing where it is empty. */
    const Schema::Schema& schema;
    /** Database files that stand beside listed ones and that no entry lists. */
    bool unlisted = false;
    /** Everything that `varnix check` finds in the files, instead of that it finds something. */
    bool defects = false;
};

/**
 * What looks wrong with a configuration and the files it lists, and for which of `keys` a process
 * holds something else.
 */
std::vector<NodeFinding> findingsIn(const Explanation& explanation,
                                    const std::vector<std::string>& keys,
                                    const FindingScope& scope);

/** What the schema says: of itself, and of everything that a client gets. */
std::vector<NodeFinding> schemaFindingsIn(const Explanation& explanation,
                                          const Schema::Schema& schema);

} // namespace Varnix::Tool

#endif

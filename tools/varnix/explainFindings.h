#ifndef VARNIX_TOOL_EXPLAINFINDINGS_H
#define VARNIX_TOOL_EXPLAINFINDINGS_H

#include "explanation.h"

#include <string>
#include <vector>

namespace Varnix::Tool {

enum class Severity
{
    /** It may be meant so. */
    NOTE,
    WARNING,
    /** It keeps a client from getting a database. */
    ERROR,
};

const char* nameOf(Severity severity) noexcept;

/** Something that looks wrong, and what to do about it. */
struct NodeFinding
{
    Severity severity = Severity::NOTE;
    std::string file;
    /** The line of a configuration's entry; 0: the file as a whole. */
    int line = 0;
    std::string text;
};

/**
 * What looks wrong with a configuration and the files it lists, and for which of `keys` a process
 * holds something else.
 */
std::vector<NodeFinding> findingsIn(const Explanation& explanation,
                                    const std::vector<std::string>& keys);

} // namespace Varnix::Tool

#endif

#ifndef VARNIX_TOOL_EXPLAINPRINT_H
#define VARNIX_TOOL_EXPLAINPRINT_H

#include "explainFindings.h"
#include "explanation.h"

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

/** An explanation as a text for people and as a document for programs. */
namespace Varnix::Tool {

void printText(const Explanation& explanation, const std::vector<std::string>& keys,
               const std::vector<NodeFinding>& findings);

/** What a client gets, without where it is from. */
nlohmann::ordered_json documentOf(const Answer& answer);

nlohmann::ordered_json documentOf(const Explanation& explanation,
                                  const std::vector<std::string>& keys,
                                  const std::vector<NodeFinding>& findings);

} // namespace Varnix::Tool

#endif

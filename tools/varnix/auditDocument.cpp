#include "auditText.h"
#include "explainPrint.h"

#include <utility>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

nlohmann::ordered_json documentOf(const std::string& node, const NodeVerdict& verdict)
{
    using Json = nlohmann::ordered_json;
    Json document{{"node", node},
                  {"status", static_cast<int>(verdict.status())},
                  {"findings", Json::array()},
                  {"differences", Json::array()},
                  {"errors", Json::array()}};
    for (const NodeFinding& finding : verdict.findings)
        document["findings"].push_back(documentOf(finding));
    for (const NodeDifference& difference : verdict.differences) {
        Json entry{{"config", difference.config}};
        if (!difference.key.empty())
            entry["key"] = difference.key;
        entry["before"] = documentOf(difference.before);
        entry["after"] = documentOf(difference.after);
        document["differences"].push_back(std::move(entry));
    }
    for (const NodeFailure& failure : verdict.failures)
        document["errors"].push_back(
            {{"message", failure.text}, {"status", static_cast<int>(failure.status)}});
    return document;
}

} // namespace Varnix::Tool

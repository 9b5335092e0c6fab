#include "explainFindings.h"
#include "schema/judge.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Varnix::Tool {

namespace {

using Findings = std::vector<NodeFinding>;

void addReports(const std::string& path, const FileContent& content, Findings& findings)
{
    for (const Schema::Report& report : content.reports)
        findings.push_back(findingIn(path, report));
}

/** The required parameters that a client would not find. */
void addAbsent(const Explanation& explanation, const Schema::Schema& schema, Findings& findings)
{
    if (std::none_of(schema.lines().begin(), schema.lines().end(),
                     [](const Schema::Line& line) { return line.isRequired; }))
        return;
    std::set<std::string> keys;
    for (std::string& key : explanation.keys())
        keys.insert(std::move(key));
    for (Schema::Finding& finding : judgeAbsent(schema, keys))
        findings.push_back({.severity = severityOf(finding.check),
                            .file = explanation.config,
                            .text = std::move(finding.text),
                            .check = finding.check});
}

} // namespace

Findings schemaFindingsIn(const Explanation& explanation, const Schema::Schema& schema)
{
    Findings findings;
    if (explanation.production)
        addReports(explanation.production->file.path, *explanation.production->content, findings);
    for (const ExplainedFile& file : explanation.files)
        if (file.selected && file.content)
            addReports(file.path, *file.content, findings);
    // Where a file cannot be used there is nothing to say about what a client would find.
    if (explanation.isUsable())
        addAbsent(explanation, schema, findings);
    return findings;
}

} // namespace Varnix::Tool

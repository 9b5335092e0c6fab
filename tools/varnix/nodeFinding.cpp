#include "nodeFinding.h"

#include "dbfile/shown.h"
#include "schema/contradictions.h"

#include <utility>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

const char* nameOf(Severity severity) noexcept
{
    switch (severity) {
    case Severity::NOTE:
        return "note";
    case Severity::WARNING:
        return "warning";
    default:
        return "error";
    }
}

Severity severityOf(Schema::Check check) noexcept
{
    return isWarning(check) ? Severity::WARNING : Severity::ERROR;
}

NodeFinding findingIn(const std::string& file, const DbFile::Finding& finding, Severity severity)
{
    return {.severity = severity, .file = file, .text = finding.text, .offset = finding.offset};
}

NodeFinding findingIn(const std::string& file, const Schema::Report& report)
{
    return {.severity = severityOf(report.check),
            .file = file,
            .text = report.text,
            .offset = report.offset,
            .check = report.check};
}

std::vector<NodeFinding> findingsIn(const Schema::Schema& schema)
{
    std::vector<NodeFinding> findings;
    for (Schema::SchemaFinding& found : contradictions(schema))
        findings.push_back({.severity = severityOf(found.check),
                            .file = found.finding.place.file,
                            .line = static_cast<int>(found.finding.place.line),
                            .text = std::move(found.finding.text),
                            .column = found.finding.place.column,
                            .check = found.check});
    return findings;
}

std::string placeOf(const NodeFinding& finding)
{
    std::string place = DbFile::shown(finding.file);
    if (finding.offset)
        return place.append(":@").append(DbFile::hexNumber(*finding.offset));
    for (const std::size_t number : {static_cast<std::size_t>(finding.line), finding.column})
        if (number > 0)
            place.append(":").append(std::to_string(number));
    return place;
}

std::string describe(const NodeFinding& finding, const std::string& severity)
{
    return placeOf(finding).append(": ").append(severity).append(": ").append(finding.text);
}

std::string describe(const NodeFinding& finding)
{
    return describe(finding, nameOf(finding.severity));
}

nlohmann::ordered_json documentOf(const NodeFinding& finding)
{
    nlohmann::ordered_json document{{"severity", nameOf(finding.severity)}, {"file", finding.file}};
    if (finding.line > 0)
        document["line"] = finding.line;
    if (finding.column > 0)
        document["column"] = finding.column;
    if (finding.offset)
        document["offset"] = *finding.offset;
    if (finding.check)
        document["check"] = Schema::nameOf(*finding.check);
    document["message"] = finding.text;
    return document;
}

} // namespace Varnix::Tool

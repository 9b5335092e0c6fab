#ifndef VARNIX_TOOL_NODEFINDING_H
#define VARNIX_TOOL_NODEFINDING_H

#include "dbfile/finding.h"
#include "schema/checks.h"
#include "schema/report.h"
#include "schema/schema.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace Varnix::Tool {

enum class Severity
{
    /** It may be meant so. */
    NOTE,
    WARNING,
    /** It must not be. */
    ERROR,
};

const char* nameOf(Severity severity) noexcept;

/** A warning where the check only warns. */
Severity severityOf(Schema::Check check) noexcept;

/** Something that looks wrong, and what to do about it. */
struct NodeFinding
{
    Severity severity = Severity::NOTE;
    std::string file;
    /** 0: the file as a whole. */
    int line = 0;
    std::string text;
    /** Where in the line; 0: the line as a whole. */
    std::size_t column = 0;
    /** Where in a database file. */
    std::optional<std::uint64_t> offset = {};
    /** What varnix-schema(5) explains it under. */
    std::optional<Schema::Check> check = {};

    bool operator==(const NodeFinding&) const = default;
};

/** Something found in a database file. */
NodeFinding findingIn(const std::string& file, const DbFile::Finding& finding, Severity severity);
NodeFinding findingIn(const std::string& file, const Schema::Report& report);

/** What must not be in the schema itself. */
std::vector<NodeFinding> findingsIn(const Schema::Schema& schema);

/** "FILE:LINE", "FILE:@0x1a4", or only "FILE". */
std::string placeOf(const NodeFinding& finding);

/** "PLACE: SEVERITY: text". */
std::string describe(const NodeFinding& finding, const std::string& severity);
std::string describe(const NodeFinding& finding);

nlohmann::ordered_json documentOf(const NodeFinding& finding);

} // namespace Varnix::Tool

#endif

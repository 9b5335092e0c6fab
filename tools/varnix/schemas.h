#ifndef VARNIX_TOOL_SCHEMAS_H
#define VARNIX_TOOL_SCHEMAS_H

#include "command.h"
#include "databaseFile.h"
#include "schema/report.h"

#include <set>
#include <string>
#include <vector>

namespace Varnix::Tool {

/** What the command line says of schemas. */
struct SchemaOptions
{
    std::vector<std::string> paths;
    bool isClosed = false;

    Schema::Coverage coverage() const noexcept
    {
        return isClosed ? Schema::Coverage::CLOSED : Schema::Coverage::OPEN;
    }
};

/** Adds `--schema` and `--closed` to a command. Returns the first. */
CLI::Option* addSchemaOptions(CLI::App& command, SchemaOptions& options);

/** The schemas to hold something against; Failure with UNREADABLE or INVALID. */
Judgement judgementOf(const SchemaOptions& options);

/** All schemas as one; Failure with UNREADABLE or INVALID. */
Schema::Schema readSchemas(const std::vector<std::string>& paths);

/** Where to look up what the reports' checks mean; empty without reports. */
std::string explanation(const std::vector<Schema::Report>& reports);
std::string explanation(const std::set<Schema::Check>& checks);

/** The errors among the reports, a line each. */
std::string errorsOf(const std::vector<Schema::Report>& reports);

/** Prints the warnings among the reports to standard error. */
void printWarnings(const std::vector<Schema::Report>& reports);

} // namespace Varnix::Tool

#endif

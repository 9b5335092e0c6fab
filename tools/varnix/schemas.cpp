#include "schemas.h"

#include "files.h"
#include "schema/parser.h"
#include "terminal.h"

#include <iostream>
#include <set>

#include <unistd.h>

namespace Varnix::Tool {

CLI::Option* addSchemaOptions(CLI::App& command, SchemaOptions& options)
{
    CLI::Option* const schema =
        command
            .add_option("--schema", options.paths,
                        "Hold the parameters against this schema too; may be given several times")
            ->type_name("SCHEMA")
            ->allow_extra_args(false);
    command
        .add_flag("--closed", options.isClosed,
                  "A key that no line of a schema describes is an error")
        ->needs(schema);
    return schema;
}

Judgement judgementOf(const SchemaOptions& options)
{
    return {readSchemas(options.paths), options.coverage()};
}

Schema::Schema readSchemas(const std::vector<std::string>& paths)
{
    Schema::Parser parser;
    for (const std::string& path : paths)
        parser.parse(path, readInput(path));
    std::string errors;
    for (const DbFile::SourceFinding& error : parser.errors())
        errors.append(errors.empty() ? "" : "\n").append(describe(error));
    if (!errors.empty())
        throw Failure(Status::INVALID, errors);
    return parser.schema();
}

std::string explanation(const std::vector<Schema::Report>& reports)
{
    std::set<Schema::Check> checks;
    for (const Schema::Report& report : reports)
        checks.insert(report.check);
    return explanation(checks);
}

std::string explanation(const std::set<Schema::Check>& checks)
{
    std::string names;
    for (const Schema::Check check : checks)
        names.append(names.empty() ? "" : ", ").append(nameOf(check));
    return names.empty() ? "" : "varnix: varnix-schema(5) explains these checks: " + names;
}

std::string errorsOf(const std::vector<Schema::Report>& reports)
{
    std::string errors;
    for (const Schema::Report& report : reports)
        if (!isWarning(report.check))
            errors.append(errors.empty() ? "" : "\n").append(describe(report, "error"));
    return errors;
}

void printWarnings(const std::vector<Schema::Report>& reports)
{
    const std::string warning = Painter(STDERR_FILENO).paint(Colour::YELLOW, "warning");
    for (const Schema::Report& report : reports)
        if (isWarning(report.check))
            std::cerr << describe(report, warning) << '\n';
}

} // namespace Varnix::Tool

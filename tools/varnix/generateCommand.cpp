#include "command.h"
#include "dbfile/shown.h"
#include "dbfile/sourceText.h"
#include "files.h"
#include "nodeFinding.h"
#include "schema/generateCpp.h"
#include "schema/generateMarkdown.h"
#include "schemas.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/Validators.hpp>

namespace Varnix::Tool {

namespace {

constexpr const char* cppLanguage = "cpp";
constexpr const char* markdownLanguage = "markdown";

struct GenerateOptions
{
    std::string language;
    std::string output;
    std::string space;
    std::vector<std::string> schemas;
};

void refuse(const std::string& errors)
{
    if (!errors.empty())
        throw Failure(Status::INVALID, errors);
}

/** Failure with INVALID where the schemas contradict each other. */
void refuseContradictions(const Schema::Schema& schema)
{
    std::string errors;
    for (const NodeFinding& finding : findingsIn(schema))
        errors.append(errors.empty() ? "" : "\n").append(describe(finding));
    refuse(errors);
}

std::string cppText(const GenerateOptions& options, const Schema::Schema& schema)
{
    const std::string space =
        options.space.empty() ? Schema::namespaceFor(options.schemas.front()) : options.space;
    if (!Schema::isNamespace(space))
        throw Failure(Status::WRONG_USAGE, "varnix: no namespace: " + DbFile::shown(space));
    const Schema::GeneratedCpp generated = generateCpp(schema, space);
    std::string errors;
    for (const DbFile::SourceFinding& error : generated.errors)
        errors.append(errors.empty() ? "" : "\n").append(describe(error));
    refuse(errors);
    return generated.text;
}

Status generate(const GenerateOptions& options)
{
    for (const std::string& path : options.schemas)
        refuseReplacing(path, options.output, "output", "-o");
    const Schema::Schema schema = readSchemas(options.schemas);
    refuseContradictions(schema);
    const std::string text =
        options.language == cppLanguage ? cppText(options, schema) : generateMarkdown(schema);
    if (options.output.empty() || options.output == "-")
        std::cout << text;
    else
        writeOutput(options.output, text);
    return Status::DONE;
}

} // namespace

void addGenerate(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<GenerateOptions>();
    CLI::App* const command = app.add_subcommand(
        "generate", "Make a C++ header of accessors, or a reference page, from schemas");
    command
        ->add_option("-o,--output", options->output,
                     "The file to write; - or nothing for standard output")
        ->type_name("OUT");
    command
        ->add_option("--namespace", options->space,
                     "Of the header; without it, named after the first schema")
        ->type_name("NAME");
    command->add_option("language", options->language, "What to make")
        ->type_name("cpp|markdown")
        ->required()
        ->check(CLI::IsMember({cppLanguage, markdownLanguage}));
    command->add_option("schema", options->schemas, "Schemas; later ones add up")
        ->type_name("SCHEMA")
        ->required();
    command->callback([options, &status] { status = generate(*options); });
}

} // namespace Varnix::Tool

#include "command.h"
#include "document.h"
#include "fileCheck.h"
#include "files.h"
#include "schemas.h"

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

struct CheckOptions
{
    bool json = false;
    SchemaOptions schemas;
    std::vector<std::string> files;
};

Json documentOf(const CheckReport& report)
{
    Json document{{"findings", Json::array()}, {"errors", Json::array()}};
    for (const NodeFinding& finding : report.findings)
        document["findings"].push_back(documentOf(finding));
    for (const FileFailure& failure : report.failures)
        addError(document, failure.status, failure.text);
    return document;
}

Status check(const CheckOptions& options)
{
    if (options.files.empty() && options.schemas.paths.empty())
        throw Failure(Status::WRONG_USAGE, "varnix: a file or --schema is required\n"
                                           "Try varnix check --help.");
    FileChecker checker(options.schemas, !options.json);
    checker.checkSchemas();
    // One unreadable file does not keep the others from being checked.
    for (const std::string& path : options.files) {
        try {
            checker.check(path, readInput(path));
        } catch (const Failure& failure) {
            checker.fail(failure);
        }
    }
    if (options.json)
        printDocument(documentOf(checker.report()));
    else
        checker.printExplanation();
    return checker.report().status();
}

} // namespace

void addCheck(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<CheckOptions>();
    CLI::App* const command = app.add_subcommand(
        "check", "Name everything that must not be in a database file; stricter than a loader");
    command->add_flag("--json", options->json, "Print one JSON document");
    addSchemaOptions(*command, options->schemas);
    command
        ->add_option("file", options->files, "Database files; with none, the schemas are checked")
        ->type_name("FILE");
    command->callback([options, &status] { status = check(*options); });
}

} // namespace Varnix::Tool

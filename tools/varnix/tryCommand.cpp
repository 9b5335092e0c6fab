#include "command.h"
#include "document.h"
#include "effectText.h"
#include "nodePlace.h"
#include "schemas.h"
#include "trial.h"
#include "triedDatabase.h"
#include "words.h"

#include <iostream>
#include <memory>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

struct TryOptions
{
    bool json = false;
    NodePlace place;
    SchemaOptions schemas;
    std::string config;
};

Json documentOf(const TriedDatabase& database)
{
    Json document{{"config", database.config.empty() ? Json() : Json(database.config)}};
    addEffect(document, database.before, database.effect);
    if (!database.warnings.empty())
        document["warnings"] = database.warnings;
    return document;
}

Status tryWords(const TryOptions& options, const std::vector<std::string>& words)
{
    const Trial trial(words);
    const std::vector<TriedDatabase> databases =
        triedOn(options.config, trial, options.place, judgementOf(options.schemas));
    if (options.json) {
        Json document{{"config", options.config},
                      {"key", trial.key()},
                      {"databases", Json::array()},
                      {"errors", Json::array()}};
        for (const TriedDatabase& database : databases)
            document["databases"].push_back(documentOf(database));
        printDocument(document);
    } else {
        for (const TriedDatabase& database : databases)
            std::cout << lineOf(database) << '\n';
        printWarnings(databases);
    }
    return isTaken(databases) ? Status::DONE : Status::NO;
}

} // namespace

void addTry(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<TryOptions>();
    CLI::App* const command = app.add_subcommand(
        "try", "Show what an operator's words would do to a client, and send nothing");
    command->add_flag("--json", options->json, "Print one JSON document");
    addNodeOptions(*command, options->place, nullptr);
    addSchemaOptions(*command, options->schemas);
    command->add_option("config", options->config, "The component's configuration file")
        ->type_name("CONFIG")
        ->required();
    addWords(*command);
    command->callback(
        [options, command, &status] { status = tryWords(*options, wordsOf(*command)); });
}

} // namespace Varnix::Tool

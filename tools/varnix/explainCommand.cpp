#include "command.h"
#include "document.h"
#include "explainFindings.h"
#include "explainPrint.h"
#include "explanation.h"

#include <algorithm>
#include <memory>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

struct ExplainOptions
{
    bool json = false;
    bool all = false;
    std::string config;
    std::vector<std::string> keys;
    std::vector<std::string> identities;
};

/** As get would end for the same keys. */
Status statusOf(const Explanation& explanation, const std::vector<std::string>& askedFor)
{
    if (!explanation.isUsable())
        return Status::NODE_UNUSABLE;
    const bool isEveryKeyRead =
        std::all_of(askedFor.begin(), askedFor.end(), [&](const std::string& key) {
            return explanation.answerFor(key).kind == Answer::Kind::VALUE;
        });
    return isEveryKeyRead ? Status::DONE : Status::NO;
}

Status runExplain(const ExplainOptions& options)
{
    const Explanation explanation = explain(options.config, options.identities);
    const std::vector<NodeFinding> findings = findingsIn(explanation);
    std::vector<std::string> keys = options.keys;
    if (options.all)
        for (std::string& key : explanation.keys())
            if (std::find(options.keys.begin(), options.keys.end(), key) == options.keys.end())
                keys.push_back(std::move(key));
    const Status status = statusOf(explanation, options.keys);
    if (options.json)
        printDocument(documentOf(explanation, keys, findings));
    else
        printText(explanation, keys, findings);
    return status;
}

} // namespace

void addExplain(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<ExplainOptions>();
    CLI::App* const command = app.add_subcommand(
        "explain", "Show which files a configuration selects and why a client gets what it gets");
    command->add_flag("--json", options->json, "Print one JSON document");
    command->add_flag("--all", options->all, "Explain every key that a client could ask for");
    command
        ->add_option("--identity", options->identities,
                     "An identity to select for, instead of those in the production database, "
                     "which then need not exist; may be given several times")
        ->type_name("ID")
        ->allow_extra_args(false);
    command->add_option("config", options->config, "The component's configuration file")
        ->type_name("CONFIG")
        ->required();
    command->add_option("key", options->keys, "Keys to explain")->type_name("KEY");
    command->callback([options, &status] { status = runExplain(*options); });
}

} // namespace Varnix::Tool

#include "command.h"
#include "document.h"
#include "explainFindings.h"
#include "explainPrint.h"
#include "explanation.h"
#include "liveDatabase.h"
#include "nodeDiagnosis.h"
#include "nodePlace.h"
#include "processPlace.h"
#include "schemas.h"
#include "target.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

struct ExplainOptions
{
    bool json = false;
    bool all = false;
    Target target;
    NodePlace place;
    SchemaOptions schemas;
};

/** As get would end for the same keys. */
Status statusOf(const Explanation& explanation, const std::vector<std::string>& askedFor)
{
    if (explanation.held)
        return std::any_of(askedFor.begin(), askedFor.end(),
                           [&](const std::string& key) { return explanation.differs(key); })
                   ? Status::NO
                   : Status::DONE;
    if (!explanation.isUsable())
        return Status::NODE_UNUSABLE;
    const bool isEveryKeyRead =
        std::all_of(askedFor.begin(), askedFor.end(), [&](const std::string& key) {
            return explanation.answerFor(key).kind == Answer::Kind::VALUE;
        });
    return isEveryKeyRead ? Status::DONE : Status::NO;
}

/** Of a process, `place` becomes its own. */
Explanation explanationOf(const Target& target, NodePlace& place, const FileReader& read)
{
    if (target.process == 0)
        return explain(target.config.value(), place, read);
    const LiveDatabase database(target.process, target.config);
    place = takePlaceOf(target.process);
    // Read afterwards: this fails where the process has ended and its id is another's.
    HeldValues held{target.process, database.values({})};
    Explanation explanation = explain(database.config(), place, read);
    explanation.held = std::move(held);
    return explanation;
}

/** Those that are asked for; of a process those that differ, where none is. */
std::vector<std::string> keysOf(const ExplainOptions& options, const Explanation& explanation)
{
    std::vector<std::string> keys = options.target.keys;
    const bool onlyDiffering = explanation.held && keys.empty() && !options.all;
    if (!options.all && !onlyDiffering)
        return keys;
    for (std::string& key : explanation.keys())
        if (std::find(options.target.keys.begin(), options.target.keys.end(), key) ==
                options.target.keys.end() &&
            (options.all || explanation.differs(key)))
            keys.push_back(std::move(key));
    return keys;
}

bool isRefusedBySchema(const std::vector<NodeFinding>& findings)
{
    return std::any_of(findings.begin(), findings.end(), [](const NodeFinding& finding) {
        return finding.check && finding.severity == Severity::ERROR;
    });
}

void print(const Explanation& explanation, const std::vector<std::string>& keys,
           const std::vector<NodeFinding>& findings, bool asDocument)
{
    std::optional<Failure> failure;
    if (!explanation.held && !explanation.isUsable())
        failure = whyUnusable(explanation);
    if (asDocument) {
        nlohmann::ordered_json document = documentOf(explanation, keys, findings);
        if (failure)
            addError(document, failure->status(), failure->what());
        printDocument(document);
    } else {
        printText(explanation, keys, findings);
    }
    if (failure)
        std::cerr << failure->what() << '\n';
}

Status runExplain(const ExplainOptions& options)
{
    const Judgement judgement = judgementOf(options.schemas);
    NodePlace place = options.place;
    const Explanation explanation = explanationOf(options.target, place, plainReader(judgement));
    const std::vector<std::string> keys = keysOf(options, explanation);
    std::vector<NodeFinding> findings = findingsIn(judgement.schema);
    for (NodeFinding& finding :
         findingsIn(explanation, keys,
                    {.place = place, .schema = judgement.schema, .unlisted = options.all}))
        findings.push_back(std::move(finding));
    const Status status = statusOf(explanation, explanation.held ? keys : options.target.keys);
    print(explanation, keys, findings, options.json);
    return status == Status::DONE && isRefusedBySchema(findings) ? Status::NO : status;
}

ExplainOptions withTarget(ExplainOptions options)
{
    options.target = withWords(std::move(options.target), "explain");
    return options;
}

} // namespace

void addExplain(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<ExplainOptions>();
    CLI::App* const command = app.add_subcommand(
        "explain", "Show which files a configuration selects and why a client gets what it gets");
    command->add_flag("--json", options->json, "Print one JSON document");
    command->add_flag("--all", options->all, "Explain every key that a client could ask for");
    CLI::Option* const process = addTarget(*command, options->target);
    addNodeOptions(*command, options->place, process);
    addSchemaOptions(*command, options->schemas);
    command->callback([options, &status] { status = runExplain(withTarget(*options)); });
}

} // namespace Varnix::Tool

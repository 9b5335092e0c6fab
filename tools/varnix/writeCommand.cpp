#include "appliedWrite.h"
#include "command.h"
#include "controlClient.h"
#include "dbfile/shown.h"
#include "document.h"
#include "effectText.h"
#include "schemas.h"
#include "trial.h"
#include "triedDatabase.h"
#include "words.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;
using Dbcsi::ControlOutcome;
using Dbcsi::Receiver;

/** How long the server may take to send the words. */
constexpr std::chrono::seconds serverLimit{5};

/** How long subscribers may take to handle them. */
constexpr std::chrono::seconds subscriberLimit{1};

struct WriteOptions
{
    bool json = false;
    bool force = false;
    std::vector<std::string> configs;
    SchemaOptions schemas;
};

/** A subscriber and what became of the write in it. */
struct Result
{
    Receiver receiver;
    AppliedProcess applied;

    bool hasNoSuchKey() const { return !applied.unknown && applied.databases.empty(); }
};

/** Tries the words on each configuration, where there are any; Failure where nothing takes them. */
void tryFirst(const WriteOptions& options, const Trial& trial)
{
    const Judgement judgement = judgementOf(options.schemas);
    bool taken = options.configs.empty() || options.force;
    std::string refusals;
    for (const std::string& config : options.configs)
        try {
            const std::vector<TriedDatabase> databases = triedOn(config, trial, {}, judgement);
            printWarnings(databases);
            for (const TriedDatabase& database : databases) {
                taken = taken || !database.effect.refusal;
                refusals.append("\n").append(lineOf(database));
            }
        } catch (const Failure& failure) {
            if (failure.status() != Status::NO && !options.force)
                throw;
            refusals.append("\n").append(failure.what());
        }
    if (!taken)
        throw Failure(Status::NO,
                      "varnix: not sent, as nothing would take it; --force sends it:" + refusals);
}

std::vector<Receiver> send(const std::vector<std::string>& words)
{
    try {
        return Dbcsi::writeThroughServer(words, serverLimit);
    } catch (const Dbcsi::ServerUnavailable& error) {
        throw Failure(Status::NODE_UNUSABLE, std::string("varnix: ") + error.what());
    } catch (const Dbcsi::WriteRefused& error) {
        throw Failure(Status::NO,
                      std::string("varnix: the server sent it to nobody: ") + error.what());
    }
}

AppliedProcess appliedTo(const Receiver& receiver, const ValuesBefore& before, const Trial& trial,
                         ValuesBefore::Clock::time_point end)
{
    if (receiver.outcome == ControlOutcome::DROPPED)
        return {.unknown = "not sent: too much waits for it, and it is dropped"};
    if (receiver.outcome != ControlOutcome::SENT)
        return {.unknown = "not sent: it cannot be reached"};
    return before.after({receiver.process, receiver.connection, receiver.connectionWrites}, trial,
                        end);
}

std::string textOf(const AppliedDatabase& database)
{
    return databaseName(database.config) + ' ' +
           (database.isUnchanged() ? "unchanged" : effectText(database.before, database.effect));
}

void printLine(const Result& result)
{
    std::cout << result.receiver.process << '\t' << DbFile::shown(result.receiver.command);
    if (result.applied.unknown)
        std::cout << '\t' << DbFile::shown(*result.applied.unknown);
    else if (result.hasNoSuchKey())
        std::cout << "\tno such key";
    for (const AppliedDatabase& database : result.applied.databases)
        std::cout << '\t' << textOf(database);
    std::cout << '\n';
}

Json documentOf(const Result& result)
{
    Json document{{"pid", result.receiver.process},
                  {"command", result.receiver.command},
                  {"databases", Json::array()}};
    if (result.applied.unknown)
        document["message"] = *result.applied.unknown;
    for (const AppliedDatabase& database : result.applied.databases) {
        Json held{{"config", database.config.empty() ? Json() : Json(database.config)}};
        addEffect(held, database.before, database.effect);
        if (database.isUnchanged())
            held["result"] = "unchanged";
        document["databases"].push_back(std::move(held));
    }
    return document;
}

/** What is wrong with the words, where it is wrong for everybody. */
std::optional<Failure> failureOf(const std::vector<Result>& results, const Trial& trial,
                                 const ValuesBefore& before)
{
    const auto hasNoSuchKey = [](const Result& result) { return result.hasNoSuchKey(); };
    if (results.empty())
        return Failure(Status::NO, "varnix: the server has no subscriber");
    std::set<pid_t> processes;
    for (const Result& result : results)
        processes.insert(result.receiver.process);
    if (std::all_of(results.begin(), results.end(), hasNoSuchKey))
        return noSuchKey(trial.key(), before.keysOf(processes));
    return std::nullopt;
}

Status statusOf(const std::vector<Result>& results)
{
    bool isTaken = false;
    bool isRefused = false;
    for (const Result& result : results)
        for (const AppliedDatabase& database : result.applied.databases) {
            isTaken = isTaken || database.isTaken;
            isRefused = isRefused || database.effect.refusal.has_value();
        }
    return isTaken && !isRefused ? Status::DONE : Status::NO;
}

void printAsDocument(const std::vector<std::string>& words, const std::vector<Result>& results,
                     const std::optional<Failure>& failure)
{
    Json document{{"words", words}, {"subscribers", Json::array()}, {"errors", Json::array()}};
    for (const Result& result : results)
        document["subscribers"].push_back(documentOf(result));
    if (failure)
        addError(document, failure->status(), failure->what());
    printDocument(document);
}

Status write(const WriteOptions& options, const std::vector<std::string>& words)
{
    const Trial trial(words);
    tryFirst(options, trial);
    const ValuesBefore before(trial.key());
    const std::vector<Receiver> receivers = send(words);
    const auto end = ValuesBefore::Clock::now() + subscriberLimit;
    std::vector<Result> results;
    results.reserve(receivers.size());
    for (const Receiver& receiver : receivers)
        results.push_back({receiver, appliedTo(receiver, before, trial, end)});
    const auto failure = failureOf(results, trial, before);
    if (options.json)
        printAsDocument(words, results, failure);
    else
        std::for_each(results.begin(), results.end(), printLine);
    if (failure)
        std::cerr << failure->what() << '\n';
    return statusOf(results);
}

} // namespace

void addWrite(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<WriteOptions>();
    CLI::App* const command = app.add_subcommand(
        "write", "Hand an operator's words to the running server and show what they did");
    command->add_flag("--json", options->json, "Print one JSON document");
    command->add_flag("--force", options->force, "Send the words though nothing would take them");
    CLI::Option* const config =
        command
            ->add_option(
                "--config", options->configs,
                "Try the words first on a client of this configuration file, and do not send "
                "them where nothing would take them; may be given several times")
            ->type_name("CONFIG")
            ->allow_extra_args(false);
    addSchemaOptions(*command, options->schemas)->needs(config);
    addWords(*command);
    command->callback([options, command, &status] { status = write(*options, wordsOf(*command)); });
}

} // namespace Varnix::Tool

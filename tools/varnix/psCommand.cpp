#include "command.h"
#include "dbfile/shown.h"
#include "document.h"
#include "inspection/notInspected.h"
#include "inspection/permission.h"
#include "inspection/process.h"

#include <array>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;
using Inspection::NotInspected;

struct Seen
{
    pid_t id;
    std::string command;
    Inspection::RegistryView registry;
};

std::string nameOf(Inspection::Subscription state)
{
    constexpr std::array names{"no mailbox",  "locating",   "connecting",
                               "subscribing", "subscribed", "stopped"};
    const auto number = static_cast<std::size_t>(state);
    return number < names.size() ? names[number] : "state " + std::to_string(number);
}

/** Why processes are not shown. */
struct Unseen
{
    /** How many may not be looked at. */
    int hidden = 0;
    /** Of those that use the library and cannot be read. */
    std::vector<std::string> texts;
};

/** The process, if it has a registry; adds to `unseen` when that cannot be known. */
std::optional<Seen> see(pid_t id, Unseen& unseen)
{
    try {
        const Inspection::Process process(id);
        return Seen{id, process.command(), process.registry()};
    } catch (const NotInspected& error) {
        if (error.reason() == NotInspected::Reason::NOT_PERMITTED)
            ++unseen.hidden;
        else if (error.reason() == NotInspected::Reason::UNKNOWN_LAYOUT ||
                 error.reason() == NotInspected::Reason::UNSETTLED)
            unseen.texts.push_back(std::string("varnix: ") + error.what());
        return std::nullopt;
    }
}

std::string nameOf(const Inspection::StoreView& store)
{
    return store.config.empty() ? "production" : DbFile::shown(store.config);
}

void printLine(const Seen& seen)
{
    std::cout << seen.id << '\t' << DbFile::shown(seen.command) << '\t'
              << nameOf(seen.registry.subscription) << '\t' << seen.registry.handled << " writes";
    for (const Inspection::StoreView& store : seen.registry.stores)
        std::cout << '\t' << nameOf(store) << ' ' << store.parameterCount;
    std::cout << '\n';
}

Json documentOf(const Seen& seen)
{
    Json databases = Json::array();
    for (const Inspection::StoreView& store : seen.registry.stores)
        databases.push_back({{"config", store.config.empty() ? Json() : Json(store.config)},
                             {"parameters", store.parameterCount}});
    return {{"pid", seen.id},
            {"command", seen.command},
            {"subscription", nameOf(seen.registry.subscription)},
            {"writes", seen.registry.handled},
            {"databases", std::move(databases)}};
}

std::vector<Failure> failuresOf(const std::vector<Seen>& all, const Unseen& unseen)
{
    std::vector<Failure> failures;
    failures.reserve(unseen.texts.size() + 1);
    for (const std::string& text : unseen.texts)
        failures.emplace_back(Status::NODE_UNUSABLE, text);
    if (all.empty())
        failures.emplace_back(
            Status::NO,
            std::string("varnix: no process that may be looked at has a registry") +
                (unseen.hidden > 0 ? "; others may not be looked at: " +
                                         Inspection::permissionHint(Inspection::permissionFor({}))
                                   : ""));
    return failures;
}

Status ps(bool json)
{
    std::vector<Seen> all;
    Unseen unseen;
    if (!Inspection::isProcMounted())
        throw Failure(Status::NODE_UNUSABLE,
                      "varnix: processes cannot be looked at: their /proc is not mounted");
    for (const pid_t id : Inspection::processIds())
        if (auto seen = see(id, unseen))
            all.push_back(std::move(*seen));
    const std::vector<Failure> failures = failuresOf(all, unseen);
    if (json) {
        Json document{{"processes", Json::array()}, {"errors", Json::array()}};
        for (const Seen& seen : all)
            document["processes"].push_back(documentOf(seen));
        for (const Failure& failure : failures)
            addError(document, failure.status(), failure.what());
        printDocument(document);
    } else {
        for (const Seen& seen : all)
            printLine(seen);
    }
    for (const Failure& failure : failures)
        std::cerr << failure.what() << '\n';
    return all.empty() ? Status::NO : Status::DONE;
}

} // namespace

void addPs(CLI::App& app, Status& status)
{
    const auto json = std::make_shared<bool>(false);
    CLI::App* const command = app.add_subcommand(
        "ps", "List the processes that use the library, and the databases that they hold");
    command->add_flag("--json", *json, "Print one JSON document");
    command->callback([json, &status] { status = ps(*json); });
}

} // namespace Varnix::Tool

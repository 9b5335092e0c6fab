#include "command.h"
#include "dbfile/comparison.h"
#include "dbfile/decoder.h"
#include "dbfile/types.h"
#include "document.h"
#include "files.h"
#include "parameterText.h"

#include <iostream>
#include <memory>
#include <utility>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

struct DiffOptions
{
    bool json = false;
    std::string first;
    std::string second;
};

/** The value with the type that its record gives where it has none itself. */
DbFile::Value written(const DbFile::StoredValue& stored)
{
    return stored.value.type == DbFile::undefinedType ? DbFile::Value{.type = stored.recordType}
                                                      : stored.value;
}

struct Sides
{
    std::optional<DbFile::Value> first;
    std::optional<DbFile::Value> second;
};

/** Both sides as they are written, unless that hides that one of them has no type. */
Sides sidesOf(const DbFile::Difference& difference)
{
    Sides sides;
    if (difference.first)
        sides.first = written(*difference.first);
    if (difference.second)
        sides.second = written(*difference.second);
    if (sides.first == sides.second)
        return {difference.first->value, difference.second->value};
    return sides;
}

void printSide(char sign, const std::string& key, const std::optional<DbFile::Value>& value)
{
    if (value)
        std::cout << sign << ' ' << keyText(key) << ' ' << valueText(*value) << '\n';
}

Json documentOf(const std::optional<DbFile::Value>& value)
{
    Json document;
    if (value)
        addValue(document, *value);
    return document;
}

Json documentOf(const DiffOptions& options, const std::vector<DbFile::Difference>& differences)
{
    Json documents = Json::array();
    for (const DbFile::Difference& difference : differences) {
        const Sides sides = sidesOf(difference);
        documents.push_back({{"key", difference.key},
                             {"a", documentOf(sides.first)},
                             {"b", documentOf(sides.second)}});
    }
    return {{"a", options.first},
            {"b", options.second},
            {"differences", std::move(documents)},
            {"errors", Json::array()}};
}

void print(const std::vector<DbFile::Difference>& differences)
{
    for (const DbFile::Difference& difference : differences) {
        const Sides sides = sidesOf(difference);
        printSide('-', difference.key, sides.first);
        printSide('+', difference.key, sides.second);
    }
}

Status diff(const DiffOptions& options)
{
    const auto first = DbFile::readRecords(readAccepted(options.first));
    const auto second = DbFile::readRecords(readAccepted(options.second));
    const std::vector<DbFile::Difference> found = differences(first, second);
    if (options.json)
        printDocument(documentOf(options, found));
    else
        print(found);
    return found.empty() ? Status::DONE : Status::NO;
}

} // namespace

void addDiff(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<DiffOptions>();
    CLI::App* const command =
        app.add_subcommand("diff", "Show what differs between two database files as parameters");
    command->add_flag("--json", options->json, "Print one JSON document");
    command->add_option("a", options->first, "A database file; its values are marked -")
        ->type_name("A")
        ->required();
    command->add_option("b", options->second, "Another one; its values are marked +")
        ->type_name("B")
        ->required();
    command->callback([options, &status] { status = diff(*options); });
}

} // namespace Varnix::Tool

#include "command.h"
#include "dbfile/comparison.h"
#include "dbfile/decoder.h"
#include "dbfile/sourceLine.h"
#include "dbfile/sourceValue.h"
#include "document.h"
#include "files.h"

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

void printSide(char sign, const std::string& key, const std::optional<DbFile::Value>& value)
{
    if (value)
        std::cout << sign << ' ' << (DbFile::isPlainKey(key) ? key : DbFile::quoted(key)) << ' '
                  << DbFile::printValue(value->type, value->data) << '\n';
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
    for (const DbFile::Difference& difference : differences)
        documents.push_back({{"key", difference.key},
                             {"a", documentOf(difference.first)},
                             {"b", documentOf(difference.second)}});
    return {{"a", options.first},
            {"b", options.second},
            {"differences", std::move(documents)},
            {"errors", Json::array()}};
}

void print(const std::vector<DbFile::Difference>& differences)
{
    for (const DbFile::Difference& difference : differences) {
        printSide('-', difference.key, difference.first);
        printSide('+', difference.key, difference.second);
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

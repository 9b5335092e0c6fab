#include "command.h"
#include "dbfile/decoder.h"
#include "dbfile/likeSource.h"
#include "dbfile/sourceLine.h"
#include "dbfile/sourceParser.h"
#include "dbfile/sourcePrinter.h"
#include "dbfile/sourceValue.h"
#include "document.h"
#include "files.h"
#include "schemas.h"

#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

struct DumpOptions
{
    bool json = false;
    std::string file;
    std::string like;
    std::vector<std::string> schemas;
};

Json documentOf(const DbFile::Record& record)
{
    Json document;
    if (record.tag != DbFile::Format::recordTag)
        document["tag"] = DbFile::hexBytes({&record.tag, 1});
    addText(document, "key", record.key);
    addValue(document, {record.type, record.data});
    return document;
}

/** A comment: build takes the record's bytes from the tail. */
std::string overlapLine(const DbFile::Record& record)
{
    return "# a loader also reads, from the bytes at the end: " + DbFile::quoted(record.key) + ' ' +
           DbFile::printValue(record.type, record.data) + '\n';
}

Json documentOf(const std::string& file, const DbFile::Database& database)
{
    Json records = Json::array();
    for (const DbFile::Record& record : database.records)
        records.push_back(documentOf(record));
    return {{"file", file},
            {"reserved", DbFile::hexBytes(database.reserved)},
            {"records", std::move(records)},
            {"tail", DbFile::hexBytes(database.tail)},
            {"unchecked", DbFile::hexBytes(database.unchecked)},
            {"extra", DbFile::hexBytes(database.extra)},
            {"errors", Json::array()}};
}

Json documentOf(const Schema::Line& line)
{
    Json document{{"file", line.place.file}, {"line", line.place.line}};
    document["key"] = line.key.text();
    document["type"] = line.type->name;
    if (line.count)
        document["elements"] = {{"min", line.count->min}, {"max", line.count->max}};
    if (!line.limits.empty())
        document["limits"] = line.limits.text();
    if (line.unit)
        document["unit"] = *line.unit;
    if (line.fallback)
        addValue(document["default"], {line.type->number, line.fallback->data});
    document["required"] = line.isRequired;
    document["deprecated"] = line.isDeprecated;
    if (line.description)
        addText(document, "description", *line.description);
    return document;
}

Status dumpSchemas(const std::vector<std::string>& paths)
{
    const Schema::Schema schema = readSchemas(paths);
    Json lines = Json::array();
    for (const Schema::Line& line : schema.lines())
        lines.push_back(documentOf(line));
    printDocument({{"schemas", paths}, {"lines", std::move(lines)}, {"errors", Json::array()}});
    return Status::DONE;
}

/** A text source; Failure with INVALID where it has errors. */
std::string readSource(const std::string& path)
{
    std::string text = readInput(path);
    DbFile::SourceParser parser;
    parser.parse(path, text);
    std::string errors;
    for (const DbFile::SourceFinding& error : parser.errors())
        errors.append(errors.empty() ? "" : "\n").append(describe(error));
    if (!errors.empty())
        throw Failure(Status::INVALID, errors);
    return text;
}

Status dumpFile(const DumpOptions& options)
{
    const std::string image = readAccepted(options.file);
    const DbFile::Database database = DbFile::decode(image);
    const std::optional<DbFile::Record> overlap = DbFile::overlap(image);
    if (options.json) {
        Json document = documentOf(options.file, database);
        if (overlap)
            document["overlap"] = documentOf(*overlap);
        printDocument(document);
    } else {
        std::cout << (options.like.empty() ? printSource(database)
                                           : printLike(database, readSource(options.like)))
                  << (overlap ? overlapLine(*overlap) : "");
    }
    return Status::DONE;
}

Status dump(const DumpOptions& options)
{
    if (options.file.empty() == options.schemas.empty())
        throw Failure(Status::WRONG_USAGE, "varnix: either a file or --schema is required\n"
                                           "Try varnix dump --help.");
    return options.schemas.empty() ? dumpFile(options) : dumpSchemas(options.schemas);
}

} // namespace

void addDump(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<DumpOptions>();
    CLI::App* const command = app.add_subcommand(
        "dump", "Show a database file as a text from which build makes the same bytes");
    CLI::Option* const json = command->add_flag("--json", options->json, "Print one JSON document");
    command
        ->add_option("--schema", options->schemas,
                     "Show the lines of this schema instead; may be given several times")
        ->type_name("SCHEMA")
        ->allow_extra_args(false)
        ->needs(json);
    command
        ->add_option("--like", options->like,
                     "Keep the comments and the spelling of this text source")
        ->type_name("SOURCE")
        ->excludes(json);
    command->add_option("file", options->file, "The database file")->type_name("FILE");
    command->callback([options, &status] { status = dump(*options); });
}

} // namespace Varnix::Tool

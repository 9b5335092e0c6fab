#include "command.h"
#include "dbfile/decoder.h"
#include "dbfile/sourceLine.h"
#include "dbfile/sourcePrinter.h"
#include "dbfile/sourceValue.h"
#include "document.h"
#include "files.h"

#include <iostream>
#include <memory>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

struct DumpOptions
{
    bool json = false;
    std::string file;
};

Json documentOf(const DbFile::Record& record)
{
    Json document;
    if (record.tag != DbFile::Format::recordTag)
        document["tag"] = DbFile::hexBytes({&record.tag, 1});
    document["key"] = record.key;
    if (!isUnicode(record.key))
        document["keyBytes"] = DbFile::hexBytes(record.key);
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

Status dump(const DumpOptions& options)
{
    const std::string image = readAccepted(options.file);
    const DbFile::Database database = DbFile::decode(image);
    const std::optional<DbFile::Record> overlap = DbFile::overlap(image);
    if (options.json) {
        Json document = documentOf(options.file, database);
        if (overlap)
            document["overlap"] = documentOf(*overlap);
        printDocument(std::move(document));
    } else {
        std::cout << printSource(database) << (overlap ? overlapLine(*overlap) : "");
    }
    return Status::DONE;
}

} // namespace

void addDump(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<DumpOptions>();
    CLI::App* const command = app.add_subcommand(
        "dump", "Show a database file as a text from which build makes the same bytes");
    command->add_flag("--json", options->json, "Print one JSON document");
    command->add_option("file", options->file, "The database file")->type_name("FILE")->required();
    command->callback([options, &status] { status = dump(*options); });
}

} // namespace Varnix::Tool

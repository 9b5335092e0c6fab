#include "command.h"
#include "dbfile/finding.h"
#include "document.h"
#include "nodeDiagnosis.h"

#include <varnix/dbRegistryIf.h>

#include <nlohmann/json.hpp>

#include <array>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;
using V1::DatabaseIf;
using RetCode = DatabaseIf::RetCode;

struct GetOptions
{
    bool json = false;
    std::string config;
    std::vector<std::string> keys;
};

/** A parameter as a client gets it. */
struct Reading
{
    std::string line;
    Json document;
};

template <typename Element>
Reading show(const std::vector<Element>& values)
{
    Reading reading{.line = {}, .document = Json::array()};
    for (const Element value : values) {
        reading.line.append(reading.line.empty() ? "" : " ").append(std::to_string(value));
        reading.document.push_back(value);
    }
    return {reading.line, {{"value", reading.document}}};
}

Reading show(const std::string& text)
{
    if (isUnicode(text))
        return {text, {{"value", text}}};
    return {text, {{"bytes", DbFile::hexBytes(text)}}};
}

template <typename Output>
RetCode readAs(const DatabaseIf& database, const std::string& key, Reading& reading)
{
    Output output;
    const RetCode result = database.get(key, output);
    if (result == RetCode::OK)
        reading = show(output);
    return result;
}

/** The reads of the interface, one for each type. */
struct TypedRead
{
    const char* type;
    RetCode (*read)(const DatabaseIf&, const std::string&, Reading&);
};

constexpr std::array typedReads{
    TypedRead{"CHAR", readAs<std::string>},
    TypedRead{"U8", readAs<std::vector<std::uint8_t>>},
    TypedRead{"S8", readAs<std::vector<std::int8_t>>},
    TypedRead{"U16", readAs<std::vector<std::uint16_t>>},
    TypedRead{"S16", readAs<std::vector<std::int16_t>>},
    TypedRead{"U32", readAs<std::vector<std::uint32_t>>},
    TypedRead{"S32", readAs<std::vector<std::int32_t>>},
};

/** The value with the one type that accepts the key; Failure with No. */
Reading readKey(const DatabaseIf& database, const std::string& key)
{
    for (const TypedRead& typed : typedReads) {
        Reading reading;
        const RetCode result = typed.read(database, key, reading);
        if (result == RetCode::KEY_NOT_FOUND)
            throw Failure(Status::No, "varnix: " + key + ": there is no such key");
        if (result == RetCode::OK) {
            Json document{{"key", key}, {"type", typed.type}};
            document.update(reading.document);
            return {reading.line, std::move(document)};
        }
    }
    throw Failure(Status::No, "varnix: " + key +
                                  ": no read accepts it; its type has no name, or "
                                  "it is empty and has none");
}

std::shared_ptr<DatabaseIf> openDatabase(const std::string& config)
{
    refuseEndlessNode(config);
    std::shared_ptr<DatabaseIf> database = V1::DbRegistryIf::getInstance().initDb(config);
    if (!database)
        throw Failure(Status::NodeUnusable, whyUnusable(config));
    return database;
}

Status get(const GetOptions& options)
{
    const std::shared_ptr<DatabaseIf> database = openDatabase(options.config);
    Json document{{"config", options.config}, {"values", Json::array()}, {"errors", Json::array()}};
    Status status = Status::Done;
    for (const std::string& key : options.keys) {
        try {
            const Reading reading = readKey(*database, key);
            document["values"].push_back(reading.document);
            if (!options.json)
                std::cout << (options.keys.size() > 1 ? key + "\t" : "") << reading.line << '\n';
        } catch (const Failure& failure) {
            document["errors"].push_back({{"key", key},
                                          {"message", failure.what()},
                                          {"status", static_cast<int>(failure.status())}});
            std::cerr << failure.what() << '\n';
            status = failure.status();
        }
    }
    if (options.json)
        printDocument(document);
    return status;
}

} // namespace

void addGet(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<GetOptions>();
    CLI::App* const command =
        app.add_subcommand("get", "Show values as a client process on this node reads them");
    command->add_flag("--json", options->json, "Print one JSON document");
    command->add_option("config", options->config, "The component's configuration file")
        ->type_name("CONFIG")
        ->required();
    command
        ->add_option("key", options->keys,
                     "Keys; the value of one stands alone on its line, those of several behind "
                     "their key and a tab")
        ->type_name("KEY")
        ->required();
    command->callback([options, &status] { status = get(*options); });
}

} // namespace Varnix::Tool

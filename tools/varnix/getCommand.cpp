#include "command.h"
#include "dbfile/finding.h"
#include "dbfile/shown.h"
#include "dbfile/sourceLine.h"
#include "document.h"
#include "nodeDiagnosis.h"

#include <array>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <CLI/Validators.hpp>
#include <nlohmann/json.hpp>
#include <unistd.h>
#include <varnix/dbRegistryIf.h>

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
    /** The one type that is accepted; empty: every type. */
    std::string type;
    /** Printed for a key that is absent, and for no other reason. */
    std::optional<std::string> standIn;
};

/** A value as a client gets it. */
using Value = std::variant<std::string, std::vector<std::uint8_t>, std::vector<std::int8_t>,
                           std::vector<std::uint16_t>, std::vector<std::int16_t>,
                           std::vector<std::uint32_t>, std::vector<std::int32_t>>;

struct Parameter
{
    /** Null: no database holds it, and the value is the default. */
    const char* type = nullptr;
    Value value;
};

std::string lineOf(const std::string& text)
{
    return text;
}

template <typename Element>
std::string lineOf(const std::vector<Element>& values)
{
    std::string line;
    for (const Element value : values)
        line.append(line.empty() ? "" : " ").append(std::to_string(value));
    return line;
}

Json documentOf(const std::string& key, const Parameter& parameter)
{
    Json document{{"key", key}};
    if (parameter.type == nullptr)
        document["default"] = true;
    else
        document["type"] = parameter.type;
    const auto* const text = std::get_if<std::string>(&parameter.value);
    if (text != nullptr && !isUnicode(*text))
        document["bytes"] = DbFile::hexBytes(*text);
    else
        std::visit([&document](const auto& value) { document["value"] = value; }, parameter.value);
    return document;
}

template <typename Output>
RetCode readAs(const DatabaseIf& database, const std::string& key, Value& value)
{
    return database.get(key, value.emplace<Output>());
}

/** The reads of the interface, one for each type. */
struct TypedRead
{
    const char* type;
    RetCode (*read)(const DatabaseIf&, const std::string&, Value&);
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

/** Why there is no value for a key; explain knows where it was looked for. */
Failure noValue(const GetOptions& options, const std::string& key, const std::string& why)
{
    return {Status::NO, "varnix: " + DbFile::shown(key) + ": " + why + "; see varnix explain " +
                            DbFile::shown(options.config) + ' ' + DbFile::shown(key)};
}

/** The value with the one type that accepts the key; nothing: it is absent. Failure with No. */
std::optional<Parameter> readParameter(const DatabaseIf& database, const std::string& key,
                                       const GetOptions& options)
{
    for (const TypedRead& typed : typedReads) {
        Parameter parameter{typed.type, {}};
        const RetCode result = typed.read(database, key, parameter.value);
        if (result == RetCode::OK)
            return parameter;
        if (result == RetCode::KEY_NOT_FOUND)
            return std::nullopt;
    }
    throw noValue(options, key,
                  "no read accepts it: its type has no name, or it is empty and has none");
}

/** What to print for the key; Failure with No. */
Parameter parameterFor(const DatabaseIf& database, const std::string& key,
                       const GetOptions& options)
{
    std::optional<Parameter> parameter = readParameter(database, key, options);
    if (!parameter && options.standIn)
        return {nullptr, *options.standIn};
    if (!parameter)
        throw noValue(options, key, "there is no such key");
    if (!options.type.empty() && options.type != parameter->type)
        throw noValue(options, key,
                      std::string("it is ") + parameter->type + ", not " + options.type);
    return *std::move(parameter);
}

std::vector<std::string> typeNames()
{
    std::vector<std::string> names;
    names.reserve(std::size(typedReads));
    for (const TypedRead& typed : typedReads)
        names.emplace_back(typed.type);
    return names;
}

std::shared_ptr<DatabaseIf> openDatabase(const std::string& config)
{
    refuseEndlessNode();
    std::shared_ptr<DatabaseIf> database = V1::DbRegistryIf::getInstance().initDb(config);
    if (!database)
        refuseUnusableNode(config);
    return database;
}

/** A key or a value that can neither end its line nor act on a terminal, as in a text source. */
std::string fieldOf(const std::string& text)
{
    return DbFile::isShowable(text) && !text.starts_with('"') ? text : DbFile::quoted(text);
}

/** The bare value of one key is the value itself, except at a terminal. */
void printLine(const std::string& key, const Value& value, bool isOnly)
{
    const std::string line = std::visit([](const auto& held) { return lineOf(held); }, value);
    if (!isOnly)
        std::cout << fieldOf(key) << '\t';
    const bool isBare = isOnly && (::isatty(STDOUT_FILENO) == 0 || DbFile::isShowable(line));
    std::cout << (isBare ? line : fieldOf(line)) << '\n';
}

Status get(const GetOptions& options)
{
    const std::shared_ptr<DatabaseIf> database = openDatabase(options.config);
    std::optional<Json> document; // only where asked for: to destroy one takes memory
    if (options.json)
        document = {
            {"config", options.config}, {"values", Json::array()}, {"errors", Json::array()}};
    Status status = Status::DONE;
    for (const std::string& key : options.keys) {
        try {
            const Parameter parameter = parameterFor(*database, key, options);
            if (document)
                (*document)["values"].push_back(documentOf(key, parameter));
            else
                printLine(key, parameter.value, options.keys.size() == 1);
        } catch (const Failure& failure) {
            if (document)
                (*document)["errors"].push_back({{"key", key},
                                                 {"message", failure.what()},
                                                 {"status", static_cast<int>(failure.status())}});
            std::cerr << failure.what() << '\n';
            status = failure.status();
        }
    }
    if (document)
        printDocument(*std::move(document));
    return status;
}

} // namespace

void addGet(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<GetOptions>();
    CLI::App* const command =
        app.add_subcommand("get", "Show values as a client process on this node reads them");
    command->add_flag("--json", options->json, "Print one JSON document");
    command
        ->add_option("--type", options->type,
                     "The type that the values must have; a value of another type is refused")
        ->type_name("TYPE")
        ->check(CLI::IsMember(typeNames()));
    command
        ->add_option("--default", options->standIn,
                     "What to print for a key that is absent; never for one that cannot be read")
        ->type_name("VALUE");
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

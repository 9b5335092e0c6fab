#include "clientValue.h"
#include "command.h"
#include "dbfile/shown.h"
#include "document.h"
#include "explanation.h"
#include "liveDatabase.h"
#include "nodeDiagnosis.h"
#include "nodePlace.h"
#include "reading.h"
#include "target.h"

#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/Validators.hpp>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;
using V1::DatabaseIf;
using RetCode = DatabaseIf::RetCode;

struct GetOptions
{
    bool json = false;
    Target target;
    NodePlace place;
    /** The one type that is accepted; empty: every type. */
    std::string type;
    /** Printed for a key that is absent, and for no other reason. */
    std::optional<std::string> standIn;
};

/** Where values come from. */
class Source
{
public:
    virtual ~Source() = default;

    /** The key's value, as V1::DatabaseIf::get returns. */
    virtual RetCode read(const std::string& key, ClientValue& value) const = 0;
};

/** Reads as a client process on this node does. */
class ClientSource final : public Source
{
public:
    explicit ClientSource(const std::string& config) : m_database(openDatabase(config)) {}

    RetCode read(const std::string& key, ClientValue& value) const override
    {
        return readValue(*m_database, key, value);
    }

private:
    std::shared_ptr<DatabaseIf> m_database;
};

/** Looks at what a running process reads. */
class ProcessSource final : public Source
{
public:
    explicit ProcessSource(const GetOptions& options)
        : m_values(LiveDatabase(options.target.process, options.target.config)
                       .values(options.target.keys))
    {
    }

    RetCode read(const std::string& key, ClientValue& value) const override
    {
        const auto found = m_values.find(key);
        return found == m_values.end() ? RetCode::KEY_NOT_FOUND : decodeValue(found->second, value);
    }

private:
    std::map<std::string, DbFile::Value> m_values;
};

/** Reads as a client on another node would. */
class FileSource final : public Source
{
public:
    explicit FileSource(const GetOptions& options)
        : m_explanation(explain(options.target.config.value(), options.place))
    {
        if (!m_explanation.isUsable())
            throw whyUnusable(m_explanation);
    }

    RetCode read(const std::string& key, ClientValue& value) const override
    {
        const Answer answer = m_explanation.answerFor(key);
        return answer.kind == Answer::Kind::ABSENT ? RetCode::KEY_NOT_FOUND
                                                   : decodeValue(answer.value, value);
    }

private:
    Explanation m_explanation;
};

std::unique_ptr<Source> sourceFor(const GetOptions& options)
{
    if (!options.place.isHere())
        return std::make_unique<FileSource>(options);
    if (options.target.process != 0)
        return std::make_unique<ProcessSource>(options);
    return std::make_unique<ClientSource>(options.target.config.value());
}

/** What to print for the key; Failure with No. */
ClientValue valueFor(const Source& source, const std::string& key, const GetOptions& options)
{
    ClientValue value;
    const RetCode result = source.read(key, value);
    if (result == RetCode::KEY_NOT_FOUND && options.standIn)
        return {nullptr, *options.standIn};
    requireFound(result, options.target, key);
    if (!options.type.empty() && options.type != value.type)
        throw noValue(options.target, key,
                      std::string("it is ") + value.type + ", not " + options.type);
    return value;
}

Json headOf(const GetOptions& options)
{
    Json document = Json::object();
    if (options.target.process != 0)
        document["pid"] = options.target.process;
    if (options.target.config)
        document["config"] = *options.target.config;
    document["values"] = Json::array();
    document["errors"] = Json::array();
    return document;
}

/** The bare value of one key is the value itself, except at a terminal. */
void printLine(const std::string& key, const ClientValue& value, bool isOnly)
{
    const std::string line = lineOf(value);
    const bool isBare = isOnly && (::isatty(STDOUT_FILENO) == 0 || DbFile::isShowable(line));
    if (isBare)
        std::cout << line << '\n';
    else
        std::cout << (isOnly ? fieldOf(line) : lineOf(key, value)) << '\n';
}

GetOptions withKeys(GetOptions options)
{
    options.target = withWords(std::move(options.target), "get");
    if (options.target.keys.empty())
        throw Failure(Status::WRONG_USAGE, "varnix: KEY is required\nTry varnix get --help.");
    return options;
}

Status get(const GetOptions& options)
{
    const std::unique_ptr<Source> source = sourceFor(options);
    std::optional<Json> document; // only where asked for: to destroy one takes memory
    if (options.json)
        document = headOf(options);
    Status status = Status::DONE;
    for (const std::string& key : options.target.keys) {
        try {
            const ClientValue value = valueFor(*source, key, options);
            if (document)
                (*document)["values"].push_back(documentOf(key, value));
            else
                printLine(key, value, options.target.keys.size() == 1);
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
        printDocument(*document);
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
        ->check(CLI::IsMember(readableTypes()));
    command
        ->add_option("--default", options->standIn,
                     "What to print for a key that is absent; never for one that cannot be read")
        ->type_name("VALUE");
    addNodeOptions(*command, options->place, addTarget(*command, options->target));
    command->footer("One value is a line of its own; several follow their key and a tab.");
    command->callback([options, &status] { status = get(withKeys(*options)); });
}

} // namespace Varnix::Tool

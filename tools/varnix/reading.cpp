#include "reading.h"

#include "dbfile/shown.h"
#include "dbfile/sourceLine.h"
#include "nodeDiagnosis.h"

#include <cstddef>
#include <utility>
#include <variant>

#include <nlohmann/json.hpp>
#include <varnix/dbRegistryIf.h>

namespace Varnix::Tool {

using RetCode = V1::DatabaseIf::RetCode;

namespace {

/** What explain is to be asked about. */
std::string placeOf(const Target& target)
{
    if (target.process == 0)
        return DbFile::shown(target.config.value());
    const std::string process = "--pid " + std::to_string(target.process);
    return target.config ? process + " --config " + DbFile::shown(*target.config) : process;
}

/** With each read of the interface in its turn, until one accepts the key. */
template <std::size_t... alternatives>
RetCode readAs(const V1::DatabaseIf& database, const std::string& key, ClientValue& value,
               std::index_sequence<alternatives...> /*all*/)
{
    RetCode result = RetCode::TYPE_MISMATCH;
    static_cast<void>(((value.type = readableType(alternatives),
                        result = database.get(key, value.data.emplace<alternatives>()),
                        result != RetCode::TYPE_MISMATCH) ||
                       ...));
    return result;
}

} // namespace

RetCode readValue(const V1::DatabaseIf& database, const std::string& key, ClientValue& value)
{
    return readAs(database, key, value,
                  std::make_index_sequence<std::variant_size_v<ClientValue::Data>>());
}

std::shared_ptr<V1::DatabaseIf> openDatabase(const std::string& config)
{
    refuseEndlessNode();
    std::shared_ptr<V1::DatabaseIf> database = V1::DbRegistryIf::getInstance().initDb(config);
    if (!database)
        refuseUnusableNode(config);
    return database;
}

Failure noValue(const Target& target, const std::string& key, const std::string& why)
{
    return {Status::NO, "varnix: " + DbFile::shown(key) + ": " + why + "; see varnix explain " +
                            placeOf(target) + ' ' + DbFile::shown(key)};
}

void requireFound(RetCode result, const Target& target, const std::string& key)
{
    if (result == RetCode::KEY_NOT_FOUND)
        throw noValue(target, key, "there is no such key");
    if (result == RetCode::TYPE_MISMATCH)
        throw noValue(target, key,
                      "no read accepts it: its type has no name, or it is empty and has none");
}

std::string fieldOf(const std::string& text)
{
    return DbFile::isShowable(text) && !text.starts_with('"') ? text : DbFile::quoted(text);
}

std::string lineOf(const std::string& key, const ClientValue& value)
{
    return fieldOf(key) + '\t' + fieldOf(lineOf(value));
}

nlohmann::ordered_json documentOf(const std::string& key, const ClientValue& value)
{
    nlohmann::ordered_json document{{"key", key}};
    if (value.type == nullptr)
        document["default"] = true;
    addValue(document, value);
    return document;
}

} // namespace Varnix::Tool

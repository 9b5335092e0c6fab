#include "effectText.h"

#include "clientValue.h"
#include "dbfile/shown.h"
#include "dbfile/sourceLine.h"
#include "dbfile/types.h"
#include "document.h"
#include "nearest.h"

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t mostSuggested = 3;

/** Integers with a blank between, text as in a text source: it may hold anything. */
std::string valueText(const DbFile::Value& value)
{
    if (value.type == DbFile::charType)
        return DbFile::quoted(value.data);
    ClientValue decoded;
    return decodeValue(value, decoded) == V1::DatabaseIf::RetCode::OK ? lineOf(decoded) : "";
}

Json documentOf(const DbFile::Value& value)
{
    Json document = Json::object();
    addValue(document, value);
    return document;
}

} // namespace

std::string databaseName(const std::string& config)
{
    return config.empty() ? "production" : DbFile::shown(config);
}

std::string effectText(const DbFile::Value& before, const Effect& effect)
{
    if (effect.refusal)
        return "refused: " + DbFile::shown(*effect.refusal);
    return valueText(before) + " -> " + valueText(effect.after);
}

void addEffect(Json& document, const DbFile::Value& before, const Effect& effect)
{
    document["result"] = effect.refusal ? "refused" : "taken";
    document["before"] = documentOf(before);
    if (effect.refusal)
        document["message"] = *effect.refusal;
    else
        document["after"] = documentOf(effect.after);
}

Failure noSuchKey(const std::string& key, const std::vector<std::string>& keys)
{
    std::string text = "varnix: no database holds " + DbFile::shown(key);
    const auto nearest = Nearest::candidates(key, keys, mostSuggested);
    for (std::size_t i = 0; i < nearest.size(); ++i)
        text.append(i == 0 ? "; the nearest: " : " ").append(DbFile::shown(nearest[i]));
    return {Status::NO, text};
}

} // namespace Varnix::Tool

#include "document.h"

#include "dbfile/finding.h"
#include "dbfile/types.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace Varnix::Tool {

namespace {

using Json = nlohmann::ordered_json;

/** Text or numbers; nothing where the bytes are neither. */
Json elementsOf(const DbFile::Value& value)
{
    const DbFile::Type* const type = DbFile::findType(value.type);
    if (type == nullptr || !DbFile::isWhole(*type, value.data.size()))
        return {};
    if (value.type == DbFile::charType)
        return isUnicode(value.data) ? Json(value.data) : Json();
    Json elements = Json::array();
    for (std::size_t i = 0; i < value.data.size() / type->elementSize; ++i)
        elements.push_back(DbFile::elementAt(value.data, *type, i));
    return elements;
}

} // namespace

void addValue(Json& document, const DbFile::Value& value)
{
    const DbFile::Type* const type = DbFile::findType(value.type);
    document["type"] = type == nullptr ? Json(value.type) : Json(type->name);
    Json elements = elementsOf(value);
    if (elements.is_null())
        document["bytes"] = DbFile::hexBytes(value.data);
    else
        document["value"] = std::move(elements);
}

void printDocument(const Json& document)
{
    // Keys and paths may be any bytes; what is not UTF-8 in them is shown as U+FFFD.
    std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void printFailure(Status status, const std::string& text)
{
    printDocument({{"errors", {{{"message", text}, {"status", static_cast<int>(status)}}}}});
}

bool isUnicode(std::string_view bytes)
{
    try {
        static_cast<void>(nlohmann::json(bytes).dump());
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}

} // namespace Varnix::Tool

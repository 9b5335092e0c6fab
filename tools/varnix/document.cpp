#include "document.h"

#include "dbfile/finding.h"
#include "dbfile/types.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>
#include <utility>

#include <nlohmann/json.hpp>
#include <unistd.h>

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

void addText(Json& document, const std::string& name, const std::string& bytes)
{
    document[name] = bytes;
    if (!isUnicode(bytes))
        document[name + "Bytes"] = DbFile::hexBytes(bytes);
}

namespace {

/**
 * Keys and paths may be any bytes; what is not UTF-8 in them is shown as U+FFFD. A terminal gets no
 * control character, and JSON escapes all of them only with everything that is not ASCII.
 */
std::string textOf(const Json& document, int indent)
{
    const bool isAscii = ::isatty(STDOUT_FILENO) != 0;
    return document.dump(indent, ' ', isAscii, Json::error_handler_t::replace);
}

} // namespace

void printLine(const Json& document)
{
    std::cout << textOf(document, -1) << '\n';
}

void printDocument(const Json& document)
{
    std::cout << textOf(document, 2) << '\n';
}

void endWithoutMemory() noexcept
{
    std::set_new_handler([] {
        static_cast<void>(std::fflush(stdout));
        static_cast<void>(std::fprintf(stderr, "%s\n", outOfMemory));
        std::_Exit(static_cast<int>(Status::UNREADABLE));
    });
}

void addError(Json& document, Status status, const std::string& text)
{
    document["errors"].push_back({{"message", text}, {"status", static_cast<int>(status)}});
}

void printFailure(Status status, const std::string& text)
{
    Json document;
    addError(document, status, text);
    printLine(document);
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

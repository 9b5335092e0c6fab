#include "dbfile/sourceValue.h"

#include "dbfile/format.h"
#include "dbfile/types.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace Varnix::DbFile {

namespace {

/** A decimal or 0x number; out of range of every type counts as the largest magnitude. */
std::optional<std::int64_t> readInteger(std::string_view text)
{
    const bool negative = text.starts_with('-');
    if (negative)
        text.remove_prefix(1);
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    if (hex)
        text.remove_prefix(2);
    std::uint64_t magnitude = INT64_MAX; // what stays of a number too large even for this
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, hex ? 16 : 10);
    if (error == std::errc::invalid_argument || stop != end)
        return std::nullopt;
    const auto bounded = static_cast<std::int64_t>(std::min<std::uint64_t>(magnitude, INT64_MAX));
    return negative ? -bounded : bounded;
}

std::string typeNames()
{
    std::string names;
    for (const Type& type : namedTypes)
        names.append(type.name).append(" ");
    return names;
}

/** One text, or its parts on lines that go on with each other. */
std::string oneText(std::span<const Token> values, std::string_view typeText)
{
    if (values.empty())
        return {};
    if (values.front().kind != Token::Kind::TEXT)
        throw LineError(values.front().column,
                        "a value of " + std::string(typeText) + " belongs between double quotes");
    std::string text = values.front().text;
    for (const Token& value : values.subspan(1)) {
        if (value.kind != Token::Kind::TEXT || !value.isContinuation)
            throw LineError(value.column,
                            std::string(typeText) + " takes one value between double quotes");
        text += value.text;
    }
    return text;
}

std::int64_t readElement(const Type& type, const Token& token)
{
    const std::string name(type.name);
    if (token.kind != Token::Kind::WORD)
        throw LineError(token.column, "a value of " + name + " is a number");
    const std::optional<std::int64_t> value = readInteger(token.text);
    if (!value)
        throw LineError(token.column, "\"" + token.text + "\" is not a decimal or 0x number");
    if (*value < type.min || *value > type.max)
        throw LineError(token.column, token.text + " is out of range: " + name + " holds " +
                                          std::to_string(type.min) + " to " +
                                          std::to_string(type.max));
    return *value;
}

} // namespace

SourceType readType(const Token& token)
{
    if (token.kind == Token::Kind::WORD) {
        if (const Type* const type = findType(token.text))
            return {type->number, true};
        const std::optional<std::int64_t> number = readInteger(token.text);
        if (number && *number >= 0 && *number <= UINT8_MAX)
            return {static_cast<std::uint8_t>(*number), false};
    }
    throw LineError(token.column, "unknown type " + quoted(token.text) + "; there are " +
                                      typeNames() + "and the numbers 0 to 255");
}

std::string readData(const SourceType& type, std::span<const Token> values)
{
    std::string data;
    const Type* const named = type.named ? findType(type.number) : nullptr;
    if (named == nullptr)
        data = oneText(values, "a type's number");
    else if (named->number == charType)
        data = oneText(values, named->name);
    else
        for (const Token& value : values)
            appendElement(data, *named, readElement(*named, value));
    if (data.size() > Format::maxDataLength)
        throw LineError(values.front().column, "the value takes " + std::to_string(data.size()) +
                                                   " bytes; a record holds at most " +
                                                   std::to_string(Format::maxDataLength));
    return data;
}

std::string readHexBytes(std::span<const Token> pairs)
{
    std::string bytes;
    for (const Token& pair : pairs) {
        unsigned value = 0;
        const char* const begin = pair.text.data();
        const char* const end = begin + pair.text.size();
        if (pair.kind != Token::Kind::WORD || pair.text.size() != 2 ||
            std::from_chars(begin, end, value, 16).ptr != end)
            throw LineError(pair.column, "a byte is written as two hex digits");
        bytes.push_back(static_cast<char>(value));
    }
    return bytes;
}

std::string printValue(std::uint8_t number, std::string_view data)
{
    const Type* const type = findType(number);
    if (type == nullptr || !isWhole(*type, data.size()))
        return std::to_string(number) + (data.empty() ? "" : " " + quoted(data));
    std::string text(type->name);
    if (number == charType)
        return text.append(" ").append(quoted(data));
    for (std::size_t i = 0; i < data.size() / type->elementSize; ++i)
        text.append(" ").append(std::to_string(elementAt(data, *type, i)));
    return text;
}

} // namespace Varnix::DbFile

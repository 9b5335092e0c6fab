#include "clientValue.h"

#include "dbfile/finding.h"
#include "dbfile/types.h"
#include "document.h"

#include <array>
#include <cstddef>
#include <type_traits>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using V1::DatabaseIf;
using RetCode = DatabaseIf::RetCode;
using Data = ClientValue::Data;

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

/** The elements of a value as a process holds it; a part of one is no element. */
template <typename Output>
Data decodedAs(const DbFile::Value& value)
{
    if constexpr (std::is_same_v<Output, std::string>) {
        return value.data;
    } else {
        const DbFile::Type& type = *DbFile::findType(value.type);
        Output elements;
        for (std::size_t i = 0; i < value.data.size() / type.elementSize; ++i)
            elements.push_back(
                static_cast<typename Output::value_type>(DbFile::elementAt(value.data, type, i)));
        return elements;
    }
}

template <typename Output>
RetCode readAs(const DatabaseIf& database, const std::string& key, Data& value)
{
    return database.get(key, value.emplace<Output>());
}

/** The reads of the interface, one for each type. */
struct TypedRead
{
    const char* type;
    RetCode (*read)(const DatabaseIf&, const std::string&, Data&);
    Data (*decoded)(const DbFile::Value&);
};

template <typename Output>
constexpr TypedRead typedRead(const char* type)
{
    return {type, readAs<Output>, decodedAs<Output>};
}

constexpr std::array typedReads{
    typedRead<std::string>("CHAR"),
    typedRead<std::vector<std::uint8_t>>("U8"),
    typedRead<std::vector<std::int8_t>>("S8"),
    typedRead<std::vector<std::uint16_t>>("U16"),
    typedRead<std::vector<std::int16_t>>("S16"),
    typedRead<std::vector<std::uint32_t>>("U32"),
    typedRead<std::vector<std::int32_t>>("S32"),
};

} // namespace

std::vector<std::string> readableTypes()
{
    std::vector<std::string> names;
    names.reserve(typedReads.size());
    for (const TypedRead& typed : typedReads)
        names.emplace_back(typed.type);
    return names;
}

RetCode readValue(const DatabaseIf& database, const std::string& key, ClientValue& value)
{
    for (const TypedRead& typed : typedReads) {
        value.type = typed.type;
        const RetCode result = typed.read(database, key, value.data);
        if (result != RetCode::TYPE_MISMATCH)
            return result;
    }
    return RetCode::TYPE_MISMATCH;
}

RetCode decodeValue(const DbFile::Value& stored, ClientValue& value)
{
    const DbFile::Type* const type = DbFile::findType(stored.type);
    for (const TypedRead& typed : typedReads)
        if (type != nullptr && type->name == typed.type) {
            value = {typed.type, typed.decoded(stored)};
            return RetCode::OK;
        }
    return RetCode::TYPE_MISMATCH;
}

std::string lineOf(const ClientValue& value)
{
    return std::visit([](const auto& held) { return lineOf(held); }, value.data);
}

void addValue(nlohmann::ordered_json& document, const ClientValue& value)
{
    if (value.type != nullptr)
        document["type"] = value.type;
    const auto* const text = std::get_if<std::string>(&value.data);
    if (text != nullptr && !isUnicode(*text))
        document["bytes"] = DbFile::hexBytes(*text);
    else
        std::visit([&document](const auto& held) { document["value"] = held; }, value.data);
}

} // namespace Varnix::Tool

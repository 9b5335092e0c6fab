#include "clientValue.h"

#include "dbfile/finding.h"
#include "dbfile/types.h"
#include "document.h"

#include <array>
#include <cstddef>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

using RetCode = V1::DatabaseIf::RetCode;
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

/** The types that the interface reads, in the order of what they are read into. */
constexpr std::array readable{"CHAR", "U8", "S8", "U16", "S16", "U32", "S32"};
static_assert(readable.size() == std::variant_size_v<Data>);

template <std::size_t... alternatives>
Data decodedAs(std::size_t wanted, const DbFile::Value& value,
               std::index_sequence<alternatives...> /*all*/)
{
    constexpr std::array decoders{&decodedAs<std::variant_alternative_t<alternatives, Data>>...};
    return decoders[wanted](value);
}

} // namespace

std::vector<std::string> readableTypes()
{
    return {readable.begin(), readable.end()};
}

const char* readableType(std::size_t alternative) noexcept
{
    return readable[alternative];
}

RetCode decodeValue(const DbFile::Value& stored, ClientValue& value)
{
    const DbFile::Type* const type = DbFile::findType(stored.type);
    for (std::size_t i = 0; i < readable.size(); ++i)
        if (type != nullptr && type->name == readable[i]) {
            value = {readable[i],
                     decodedAs(i, stored, std::make_index_sequence<readable.size()>())};
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

#ifndef VARNIX_TOOL_CLIENTVALUE_H
#define VARNIX_TOOL_CLIENTVALUE_H

#include "dbfile/store.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json_fwd.hpp>
#include <varnix/databaseIf.h>

namespace Varnix::Tool {

/** A parameter as a client's read gives it. */
struct ClientValue
{
    using Data = std::variant<std::string, std::vector<std::uint8_t>, std::vector<std::int8_t>,
                              std::vector<std::uint16_t>, std::vector<std::int16_t>,
                              std::vector<std::uint32_t>, std::vector<std::int32_t>>;

    /** The type's name; null for a stand-in that no database holds. */
    const char* type = nullptr;
    Data data;
};

/** The names of the types that a read accepts. */
std::vector<std::string> readableTypes();

/** The name of the type whose values are that alternative of a ClientValue's data. */
const char* readableType(std::size_t alternative) noexcept;

/** What the read that accepts a stored value makes of it; TYPE_MISMATCH: there is none. */
V1::DatabaseIf::RetCode decodeValue(const DbFile::Value& stored, ClientValue& value);

/** The value on one line: integers in decimal with a blank between them, text as it is. */
std::string lineOf(const ClientValue& value);

/** Adds "type" and "value" to a document, or "bytes" for a text that JSON cannot hold. */
void addValue(nlohmann::ordered_json& document, const ClientValue& value);

} // namespace Varnix::Tool

#endif

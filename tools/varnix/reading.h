#ifndef VARNIX_TOOL_READING_H
#define VARNIX_TOOL_READING_H

#include "clientValue.h"
#include "target.h"

#include <memory>
#include <string>

#include <nlohmann/json_fwd.hpp>
#include <varnix/databaseIf.h>

/** What the subcommands that show parameters have in common. */
namespace Varnix::Tool {

/** The database that a client process on this node gets; Failure with NODE_UNUSABLE. */
std::shared_ptr<V1::DatabaseIf> openDatabase(const std::string& config);

/** Reads the key with the one read that accepts it; TYPE_MISMATCH: there is none. */
V1::DatabaseIf::RetCode readValue(const V1::DatabaseIf& database, const std::string& key,
                                  ClientValue& value);

/** Why there is no value for a key; explain knows where it was looked for. */
Failure noValue(const Target& target, const std::string& key, const std::string& why);

/** Failure with NO unless the read of the key found a value. */
void requireFound(V1::DatabaseIf::RetCode result, const Target& target, const std::string& key);

/** A key or a value that can neither end its line nor act on a terminal, as in a text source. */
std::string fieldOf(const std::string& text);

/** The key, a tab and the value. */
std::string lineOf(const std::string& key, const ClientValue& value);

/** An object with "key" and what addValue adds. */
nlohmann::ordered_json documentOf(const std::string& key, const ClientValue& value);

} // namespace Varnix::Tool

#endif

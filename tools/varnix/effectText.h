#ifndef VARNIX_TOOL_EFFECTTEXT_H
#define VARNIX_TOOL_EFFECTTEXT_H

#include "command.h"
#include "trial.h"

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace Varnix::Tool {

/** A configuration file's path, or "production" for an empty one. */
std::string databaseName(const std::string& config);

/** `OLD -> NEW`, or `refused: TEXT`. */
std::string effectText(const DbFile::Value& before, const Effect& effect);

/** Adds "result", "before" and, as it ended, "after" or "message". */
void addEffect(nlohmann::ordered_json& document, const DbFile::Value& before, const Effect& effect);

/** That no database holds `key`, with the nearest of those that there are. */
Failure noSuchKey(const std::string& key, const std::vector<std::string>& keys);

} // namespace Varnix::Tool

#endif

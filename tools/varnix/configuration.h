#ifndef VARNIX_TOOL_CONFIGURATION_H
#define VARNIX_TOOL_CONFIGURATION_H

#include "configFile.h"

#include <optional>
#include <string>
#include <vector>

namespace Varnix::Tool {

bool isFolder(const std::string& path);

/** Why a configuration file cannot be opened; nothing: it can. */
std::optional<std::string> whyNotOpened(const std::string& config);

/** The entries of a configuration file; Failure with NodeUnusable or Invalid. */
std::vector<Backend::DBUtils::DbConfiguration> readConfiguration(const std::string& config);

} // namespace Varnix::Tool

#endif

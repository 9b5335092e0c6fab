#ifndef VARNIX_TOOL_CONFIGURATION_H
#define VARNIX_TOOL_CONFIGURATION_H

#include "configFile.h"

#include <string>
#include <vector>

namespace Varnix::Tool {

/**
 * The entries of a configuration file and, in `lines` if that is not null, where each begins;
 * Failure with NodeUnusable or Invalid.
 */
std::vector<Backend::DBUtils::DbConfiguration> readConfiguration(const std::string& config,
                                                                 std::vector<int>* lines = nullptr);

} // namespace Varnix::Tool

#endif

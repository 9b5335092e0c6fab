#ifndef VARNIX_TOOL_CONFIGURATION_H
#define VARNIX_TOOL_CONFIGURATION_H

#include "configFile.h"

#include <string>
#include <vector>

namespace Varnix::Tool {

/** Whether it is a directory or a character device, which nothing reads to its end. */
bool hasNoEnd(const std::string& path);

/** Failure with NodeUnusable when the configuration file cannot be opened. */
void refuseUnopened(const std::string& config);

/** The entries of a configuration file; Failure with NodeUnusable or Invalid. */
std::vector<Backend::DBUtils::DbConfiguration> readConfiguration(const std::string& config);

} // namespace Varnix::Tool

#endif

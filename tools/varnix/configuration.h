#ifndef VARNIX_TOOL_CONFIGURATION_H
#define VARNIX_TOOL_CONFIGURATION_H

#include "configFile.h"
#include "nodePlace.h"

#include <string>
#include <vector>

namespace Varnix::Tool {

/**
 * The entries of a configuration file and, in `places` if that is not null, where each begins. It
 * and the files that it includes are read where `place` finds them. Failure with NODE_UNUSABLE or
 * INVALID.
 */
std::vector<Backend::DBUtils::DbConfiguration>
readConfiguration(const std::string& config,
                  std::vector<Backend::DBUtils::ConfigText::Place>* places = nullptr,
                  const NodePlace& place = {});

} // namespace Varnix::Tool

#endif

#ifndef VARNIX_TOOL_CONFIGHINT_H
#define VARNIX_TOOL_CONFIGHINT_H

#include "configFile.h"

#include <string>

namespace Varnix::Tool {

/**
 * Where a configuration file lacks a setting: a note about the one that may be meant, misspelt or
 * no text. Empty where there is none like it. Files are read where `locate` says.
 */
std::string hintFor(const Backend::DBUtils::ConfigError& error, const std::string& config,
                    const Backend::DBUtils::Locate& locate);

} // namespace Varnix::Tool

#endif

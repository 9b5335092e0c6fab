#ifndef VARNIX_TOOL_PARAMETERTEXT_H
#define VARNIX_TOOL_PARAMETERTEXT_H

#include "dbfile/store.h"

#include <string>

/** A parameter on a line for people, in the form of a text source. */
namespace Varnix::Tool {

std::string keyText(const std::string& key);

/** "TYPE VALUES", or that it is empty and has no type. */
std::string valueText(const DbFile::Value& value);

} // namespace Varnix::Tool

#endif

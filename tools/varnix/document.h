#ifndef VARNIX_TOOL_DOCUMENT_H
#define VARNIX_TOOL_DOCUMENT_H

#include "command.h"
#include "dbfile/comparison.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace Varnix::Tool {

/** Prints the one document of a `--json` run. */
void printDocument(const nlohmann::ordered_json& document);

/** Prints the document of a run that ended with a failure. */
void printFailure(Status status, const std::string& text);

/** Adds "type" and "value", or "bytes" where the data is neither text nor numbers. */
void addValue(nlohmann::ordered_json& document, const DbFile::Value& value);

/** Whether a JSON string can hold the bytes as they are. */
bool isUnicode(std::string_view bytes);

} // namespace Varnix::Tool

#endif

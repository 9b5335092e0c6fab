#ifndef VARNIX_TOOL_DOCUMENT_H
#define VARNIX_TOOL_DOCUMENT_H

#include "command.h"
#include "dbfile/store.h"

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace Varnix::Tool {

/** Prints the one document of a `--json` run. */
void printDocument(const nlohmann::ordered_json& document);

/** Prints one of several documents, on a line of its own. */
void printLine(const nlohmann::ordered_json& document);

/** Makes a lack of memory end the process at once: to destroy a document takes memory too. */
void endWithoutMemory() noexcept;

inline constexpr const char* outOfMemory = "varnix: out of memory";

/** Adds what went wrong to the document's "errors". */
void addError(nlohmann::ordered_json& document, Status status, const std::string& text);

/** Prints the document of a run that ended with a failure; it may follow others, a line each. */
void printFailure(Status status, const std::string& text);

/** Adds "type" and "value", or "bytes" where the data is neither text nor numbers. */
void addValue(nlohmann::ordered_json& document, const DbFile::Value& value);

/** Adds bytes as a string, and as NAMEBytes where a string cannot hold them as they are. */
void addText(nlohmann::ordered_json& document, const std::string& name, const std::string& bytes);

/** Whether a JSON string can hold the bytes as they are. */
bool isUnicode(std::string_view bytes);

} // namespace Varnix::Tool

#endif

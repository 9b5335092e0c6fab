#ifndef VARNIX_TOOL_TRACEPRINTER_H
#define VARNIX_TOOL_TRACEPRINTER_H

#include "command.h"
#include "recording/record.h"

#include <string>
#include <vector>

namespace Varnix::Tool {

/** Prints events as they come: lines, or one JSON document that grows by a line for each. */
class TracePrinter
{
public:
    explicit TracePrinter(bool json) : m_json(json) {}

    void print(const std::vector<Recording::Record>& records);

    /** Ends the document. */
    void end();
    /** Ends the document with what went wrong, which goes to standard error too. */
    void fail(Status status, const std::string& text);

private:
    void printText(const Recording::Record& record);
    void printJson(const Recording::Record& record);

    bool m_json;
    bool m_isBegun = false;
};

} // namespace Varnix::Tool

#endif

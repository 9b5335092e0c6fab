#ifndef VARNIX_TOOL_FILECHECK_H
#define VARNIX_TOOL_FILECHECK_H

#include "command.h"
#include "nodeFinding.h"
#include "schemas.h"
#include "terminal.h"

#include <string>
#include <vector>

#include <unistd.h>

namespace Varnix::Tool {

/** An input that could not be used. */
struct FileFailure
{
    std::string text;
    Status status;
};

/** What was said of files and schemas. */
struct CheckReport
{
    std::vector<NodeFinding> findings;
    std::vector<FileFailure> failures;

    /** NO where there is an error; that of a failure where there is one. */
    Status status() const;
    /** Where to look up what the schemas' checks mean; empty without any. */
    std::string explanation() const;
};

/** Says of files and schemas what must not be in them. */
class FileChecker
{
public:
    /** Findings are printed as they come, except where they are only collected. */
    FileChecker(const SchemaOptions& schemas, bool isPrinting);

    void checkSchemas();
    void check(const std::string& path, const std::string& image);
    void fail(const Failure& failure);

    /** Prints where to look up what the schemas' checks mean. */
    void printExplanation() const;

    const CheckReport& report() const noexcept { return m_report; }

private:
    void add(NodeFinding finding);
    void print(const NodeFinding& finding) const;

    Schema::Coverage m_coverage;
    Schema::Schema m_schema;
    bool m_isPrinting;
    CheckReport m_report;
    Painter m_results{STDOUT_FILENO};
    Painter m_others{STDERR_FILENO};
};

} // namespace Varnix::Tool

#endif

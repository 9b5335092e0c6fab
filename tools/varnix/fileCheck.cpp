#include "fileCheck.h"

#include "dbfile/checker.h"
#include "dbfile/decoder.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <utility>

namespace Varnix::Tool {

Status CheckReport::status() const
{
    const bool isAnyError =
        std::any_of(findings.begin(), findings.end(),
                    [](const NodeFinding& finding) { return finding.severity == Severity::ERROR; });
    Status worst = isAnyError ? Status::NO : Status::DONE;
    for (const FileFailure& failure : failures)
        worst = std::max(worst, failure.status);
    return worst;
}

std::string CheckReport::explanation() const
{
    std::set<Schema::Check> checks;
    for (const NodeFinding& finding : findings)
        if (finding.check)
            checks.insert(*finding.check);
    return Tool::explanation(checks);
}

FileChecker::FileChecker(const SchemaOptions& schemas, bool isPrinting)
    : m_coverage(schemas.coverage()), m_schema(readSchemas(schemas.paths)), m_isPrinting(isPrinting)
{
}

void FileChecker::checkSchemas()
{
    for (NodeFinding& finding : findingsIn(m_schema))
        add(std::move(finding));
}

void FileChecker::check(const std::string& path, const std::string& image)
{
    const DbFile::CheckResult result = DbFile::check(image);
    for (const DbFile::Finding& finding : result.findings)
        add(findingIn(path, finding, Severity::ERROR));
    for (const DbFile::Finding& warning : result.warnings)
        add(findingIn(path, warning, Severity::WARNING));
    for (const DbFile::Finding& note : result.notes)
        add(findingIn(path, note, Severity::NOTE));
    // A schema says nothing of a file that no client reads.
    if (DbFile::refusals(image).empty())
        for (const Schema::Report& found : reportImage(m_schema, path, image, m_coverage))
            add(findingIn(path, found));
}

void FileChecker::fail(const Failure& failure)
{
    std::cerr << failure.what() << '\n';
    m_report.failures.push_back({failure.what(), failure.status()});
}

void FileChecker::printExplanation() const
{
    if (const std::string text = m_report.explanation(); !text.empty()) {
        std::cout.flush(); // the findings first
        std::cerr << text << '\n';
    }
}

void FileChecker::add(NodeFinding finding)
{
    if (m_isPrinting)
        print(finding);
    m_report.findings.push_back(std::move(finding));
}

/** Errors are the result and go to standard output; warnings and notes are none. */
void FileChecker::print(const NodeFinding& finding) const
{
    const bool isError = finding.severity == Severity::ERROR;
    const Painter& painter = isError ? m_results : m_others;
    (isError ? std::cout : std::cerr)
        << describe(finding, painter.paint(colourOf(finding.severity), nameOf(finding.severity)))
        << '\n';
}

} // namespace Varnix::Tool

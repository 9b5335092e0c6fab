#include "auditText.h"

#include "dbfile/shown.h"
#include "dbfile/sourceValue.h"
#include "parameterText.h"
#include "schemas.h"

#include <iostream>
#include <utility>

namespace Varnix::Tool {

namespace {

std::string valueText(const Answer& answer)
{
    return answer.kind == Answer::Kind::VALUE
               ? DbFile::printValue(answer.value.type, answer.value.data)
               : nameOf(answer.kind);
}

std::string counted(std::size_t count, const std::string& noun)
{
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace

std::string describe(const NodeDifference& difference)
{
    const std::string config = DbFile::shown(difference.config) + ": ";
    if (difference.key.empty())
        return config + (difference.after.kind == Answer::Kind::NO_DATABASE
                             ? "a client gets no database any more"
                             : "a client gets a database now");
    return config + keyText(difference.key) + ": " + valueText(difference.before) + " -> " +
           valueText(difference.after);
}

void AuditText::print(const std::string& node, const NodeVerdict& verdict)
{
    const std::string lead = DbFile::shown(node) + ": ";
    ++m_nodes;
    m_failed += verdict.failures.empty() ? 0U : 1U;
    m_found += verdict.status() == Status::NO ? 1U : 0U;
    m_differing += verdict.differences.empty() ? 0U : 1U;
    for (const NodeFinding& finding : verdict.findings) {
        ++m_counts[finding.severity];
        if (finding.check)
            m_checks.insert(*finding.check);
        std::cout << lead
                  << describe(finding,
                              m_results.paint(colourOf(finding.severity), nameOf(finding.severity)))
                  << '\n';
    }
    for (const NodeDifference& difference : verdict.differences)
        fold(node, difference);
}

void AuditText::fold(const std::string& node, const NodeDifference& difference)
{
    std::string text = describe(difference);
    if (const auto found = m_folds.find(text); found != m_folds.end())
        ++found->second.count;
    else if (m_folds.size() < maxFolds)
        m_folds.emplace(std::move(text), Fold{m_folds.size(), 1, node});
    else
        std::cout << DbFile::shown(node) << ": " << text << '\n';
}

void AuditText::finish()
{
    std::vector<const std::pair<const std::string, Fold>*> folds(m_folds.size());
    for (const auto& fold : m_folds)
        folds[fold.second.order] = &fold;
    for (const auto* const fold : folds) {
        const std::string first = DbFile::shown(fold->second.first);
        if (fold->second.count == 1)
            std::cout << first << ": " << fold->first << '\n';
        else
            std::cout << fold->second.count << " nodes, first " << first << ": " << fold->first
                      << '\n';
    }
    printSums();
    std::cout.flush();
    if (const std::string text = explanation(m_checks); !text.empty())
        std::cerr << text << '\n';
}

void AuditText::printSums() const
{
    const auto count = [this](Severity severity) {
        const auto found = m_counts.find(severity);
        return found == m_counts.end() ? std::size_t{0} : found->second;
    };
    std::cout << counted(m_nodes, "node") << ": " << m_nodes - m_found - m_failed << " good, "
              << m_found << " with findings, " << m_failed << " not judged; "
              << counted(count(Severity::ERROR), "error") << ", "
              << counted(count(Severity::WARNING), "warning") << ", "
              << counted(count(Severity::NOTE), "note");
    if (m_isComparing)
        std::cout << "; " << m_differing << " differ";
    std::cout << '\n';
}

} // namespace Varnix::Tool

#ifndef VARNIX_TOOL_AUDITTEXT_H
#define VARNIX_TOOL_AUDITTEXT_H

#include "nodeAudit.h"
#include "terminal.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>
#include <unistd.h>

namespace Varnix::Tool {

/** Prints the verdicts for people: a line a finding, then equal differences as one, then sums. */
class AuditText
{
public:
    /** No more different differences are kept to be folded; others are printed as they come. */
    static constexpr std::size_t maxFolds = 10000;

    explicit AuditText(bool isComparing) : m_isComparing(isComparing) {}

    void print(const std::string& node, const NodeVerdict& verdict);
    void finish();

private:
    struct Fold
    {
        std::size_t order;
        std::size_t count;
        std::string first;
    };

    void fold(const std::string& node, const NodeDifference& difference);
    void printSums() const;

    Painter m_results{STDOUT_FILENO};
    std::map<std::string, Fold> m_folds;
    std::map<Severity, std::size_t> m_counts;
    std::set<Schema::Check> m_checks;
    std::size_t m_nodes = 0;
    std::size_t m_found = 0;
    std::size_t m_failed = 0;
    std::size_t m_differing = 0;
    bool m_isComparing;
};

/** "CONFIG: KEY: BEFORE -> AFTER". */
std::string describe(const NodeDifference& difference);

nlohmann::ordered_json documentOf(const std::string& node, const NodeVerdict& verdict);

} // namespace Varnix::Tool

#endif

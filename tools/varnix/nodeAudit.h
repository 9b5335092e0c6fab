#ifndef VARNIX_TOOL_NODEAUDIT_H
#define VARNIX_TOOL_NODEAUDIT_H

#include "command.h"
#include "explanation.h"
#include "fileCache.h"
#include "nodeFinding.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace Varnix::Tool {

/** What nodes are judged by. */
struct AuditRules
{
    /** As on the nodes; without any, the configurations that a node's directory holds. */
    std::vector<std::string> configs;
    std::optional<std::string> production;
    /** A directory with the same nodes as they were before. */
    std::optional<std::string> against;
};

/** What a client would read for a key, and what it would have read before. */
struct NodeDifference
{
    std::string config;
    /** Empty: whether there is a database at all. */
    std::string key;
    Answer before;
    Answer after;
};

/** Why a node, or what it was before, could not be judged. */
struct NodeFailure
{
    Status status;
    std::string text;
};

/** What was found in a node. */
struct NodeVerdict
{
    std::vector<NodeFinding> findings;
    std::vector<NodeDifference> differences;
    std::vector<NodeFailure> failures;

    /** NO where there is an error, a warning or a difference; that of a failure where there is. */
    Status status() const;
};

/** Judges nodes; any number of threads may. */
class NodeAuditor
{
public:
    NodeAuditor(AuditRules rules, FileCache& cache);

    /** Never throws for what the node holds. */
    NodeVerdict judge(const std::string& node) const;

private:
    NodePlace placeOf(const std::string& node) const;
    /** Where the node is as it was before. */
    NodePlace oldPlaceOf(const std::string& node) const;
    std::vector<std::string> configsOf(const std::string& node) const;
    /** `said` holds the findings of the node's other configurations, and then this one's. */
    void judge(const std::string& config, const NodePlace& place,
               const std::optional<NodePlace>& old, NodeVerdict& verdict,
               std::unordered_set<std::string>& said) const;
    void compare(const Explanation& explanation, const NodePlace& old, NodeVerdict& verdict) const;
    /** Adds the configurations that were there and are not among `configs`. */
    void findRemoved(const std::vector<std::string>& configs, const NodePlace& old,
                     NodeVerdict& verdict) const;

    AuditRules m_rules;
    FileCache& m_cache;
    FileReader m_read;
};

} // namespace Varnix::Tool

#endif

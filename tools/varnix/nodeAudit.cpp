#include "nodeAudit.h"

#include "dbfile/shown.h"
#include "explainFindings.h"
#include "nodeFiles.h"
#include "nodePlace.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <set>
#include <utility>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view commandName = "varnix: ";

/** On one line, without the command's name. */
std::string lineOf(std::string text)
{
    if (text.starts_with(commandName))
        text.replace(0, commandName.size(), "error: ");
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/** Several configurations of a node may fail for one reason. */
void addFailure(NodeVerdict& verdict, Status status, const std::string& text)
{
    if (std::none_of(verdict.failures.begin(), verdict.failures.end(),
                     [&](const NodeFailure& failure) { return failure.text == text; }))
        verdict.failures.push_back({status, text});
}

/** Calls `judge`; what it throws is a failure of the verdict. */
template <typename Judge>
void guarded(NodeVerdict& verdict, const Judge& judge)
{
    try {
        judge();
    } catch (const Failure& failure) {
        addFailure(verdict, failure.cause(), lineOf(failure.what()));
    } catch (const std::exception& error) {
        addFailure(verdict, Status::UNREADABLE, std::string("error: ") + error.what());
    }
}

bool isSame(const Answer& a, const Answer& b)
{
    return a.kind == b.kind && a.value == b.value;
}

/** Whether two explanations come from the same bytes in the same order. */
bool isSameContent(const Explanation& a, const Explanation& b)
{
    const auto selected = [](const Explanation& explanation) {
        std::vector<const FileContent*> contents{
            explanation.production ? explanation.production->content.get() : nullptr};
        for (const ExplainedFile& file : explanation.files)
            if (file.selected)
                contents.push_back(file.content.get());
        return contents;
    };
    return a.isUsable() && b.isUsable() && selected(a) == selected(b);
}

void addDifferences(const Explanation& before, const Explanation& after,
                    std::vector<NodeDifference>& differences)
{
    if (isSameContent(before, after))
        return;
    if (before.isUsable() != after.isUsable()) {
        differences.push_back({after.config, "", before.answerFor(""), after.answerFor("")});
        return;
    }
    std::set<std::string> keys;
    for (const Explanation* const explanation : {&before, &after})
        for (std::string& key : explanation->keys())
            keys.insert(std::move(key));
    for (const std::string& key : keys) {
        Answer old = before.answerFor(key);
        Answer now = after.answerFor(key);
        if (!isSame(old, now))
            differences.push_back({after.config, key, std::move(old), std::move(now)});
    }
}

/** What a client gets whose configuration is not there. */
Answer noDatabase()
{
    Answer answer;
    answer.kind = Answer::Kind::NO_DATABASE;
    return answer;
}

void requireDirectory(const std::string& node)
{
    std::error_code error;
    if (!fs::is_directory(node, error))
        throw Failure(Status::UNREADABLE,
                      "varnix: " + DbFile::shown(node) + " cannot be read as a directory");
}

/** The directory's own name, whatever follows it. */
fs::path nameOf(const std::string& node)
{
    const fs::path path = fs::absolute(node).lexically_normal();
    return path.has_filename() ? path.filename() : path.parent_path().filename();
}

} // namespace

Status NodeVerdict::status() const
{
    const bool isClean =
        differences.empty() &&
        std::none_of(findings.begin(), findings.end(),
                     [](const NodeFinding& finding) { return finding.severity != Severity::NOTE; });
    Status worst = isClean ? Status::DONE : Status::NO;
    for (const NodeFailure& failure : failures)
        worst = std::max(worst, failure.status);
    return worst;
}

NodeAuditor::NodeAuditor(AuditRules rules, FileCache& cache)
    : m_rules(std::move(rules)), m_cache(cache),
      m_read([&cache](const std::string& path) { return cache.read(path); })
{
}

NodeVerdict NodeAuditor::judge(const std::string& node) const
{
    NodeVerdict verdict;
    guarded(verdict, [&] {
        const NodePlace place = placeOf(node);
        std::unordered_set<std::string> said;
        const std::vector<std::string> configs = configsOf(node);
        std::optional<NodePlace> old;
        if (m_rules.against)
            guarded(verdict, [&] { old = oldPlaceOf(node); });
        for (const std::string& config : configs)
            guarded(verdict, [&] { judge(config, place, old, verdict, said); });
        if (old && m_rules.configs.empty())
            guarded(verdict, [&] { findRemoved(configs, *old, verdict); });
    });
    return verdict;
}

std::vector<std::string> NodeAuditor::configsOf(const std::string& node) const
{
    if (!m_rules.configs.empty())
        return m_rules.configs;
    std::vector<std::string> configs = configurationsIn(node);
    if (configs.empty())
        throw Failure(Status::UNREADABLE, "varnix: no configuration: no file with the extension "
                                          ".cfg has one; name it with --config");
    return configs;
}

NodePlace NodeAuditor::placeOf(const std::string& node) const
{
    requireDirectory(node);
    NodePlace place{
        .root = node, .production = m_rules.production, .identities = {}, .isWholeNode = true};
    if (place.productionFiles().empty())
        place.production = productionIn(node, m_read);
    return place;
}

void NodeAuditor::judge(const std::string& config, const NodePlace& place,
                        const std::optional<NodePlace>& old, NodeVerdict& verdict,
                        std::unordered_set<std::string>& said) const
{
    const Explanation explanation = explain(config, place, m_read);
    for (NodeFinding& finding : findingsIn(explanation, {},
                                           {.place = place,
                                           .schema = m_cache.judgement().schema,
                                           .unlisted = true,
                                           .defects = true}))
        // Configurations of one node share files.
        if (said.insert(describe(finding)).second)
            verdict.findings.push_back(std::move(finding));
    if (old)
        guarded(verdict, [&] { compare(explanation, *old, verdict); });
}

NodePlace NodeAuditor::oldPlaceOf(const std::string& node) const
{
    const std::string old = (fs::path(*m_rules.against) / nameOf(node)).string();
    requireDirectory(old);
    try {
        return placeOf(old);
    } catch (const Failure& failure) {
        std::string text = failure.what();
        text.insert(commandName.size(), DbFile::shown(old) + ": ");
        throw Failure(failure.status(), text, failure.cause());
    }
}

void NodeAuditor::compare(const Explanation& explanation, const NodePlace& old,
                          NodeVerdict& verdict) const
{
    std::error_code error;
    if (fs::exists(old.locate(explanation.config), error))
        addDifferences(explain(explanation.config, old, m_read), explanation, verdict.differences);
    else if (explanation.isUsable())
        verdict.differences.push_back(
            {explanation.config, "", noDatabase(), explanation.answerFor("")});
}

void NodeAuditor::findRemoved(const std::vector<std::string>& configs, const NodePlace& old,
                              NodeVerdict& verdict) const
{
    for (const std::string& config : configurationsIn(old.root)) {
        if (std::find(configs.begin(), configs.end(), config) != configs.end())
            continue;
        const Explanation before = explain(config, old, m_read);
        if (before.isUsable())
            verdict.differences.push_back({config, "", before.answerFor(""), noDatabase()});
    }
}

} // namespace Varnix::Tool

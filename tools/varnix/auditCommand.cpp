#include "auditText.h"
#include "command.h"
#include "dbfile/shown.h"
#include "document.h"
#include "fileCache.h"
#include "inOrder.h"
#include "junitReport.h"
#include "nodeAudit.h"
#include "progress.h"
#include "schemas.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/Validators.hpp>
#include <nlohmann/json.hpp>

namespace Varnix::Tool {

namespace {

struct AuditOptions
{
    bool json = false;
    std::string junit;
    unsigned jobs = 0;
    AuditRules rules;
    SchemaOptions schemas;
    std::vector<std::string> nodes;
};

/** What the schemas hold against themselves is said once, and is no node's. */
Status judgeSchemas(const Schema::Schema& schema)
{
    const std::vector<NodeFinding> findings = findingsIn(schema);
    for (const NodeFinding& finding : findings)
        std::cerr << describe(finding) << '\n';
    return findings.empty() ? Status::DONE : Status::NO;
}

/** Gives each node's verdict to everybody who wants it. */
class AuditOutput
{
public:
    explicit AuditOutput(const AuditOptions& options)
        : m_isJson(options.json), m_text(options.rules.against.has_value()),
          m_progress(options.nodes.size())
    {
        if (!options.junit.empty())
            m_junit.emplace(options.junit);
    }

    void take(const std::string& node, const NodeVerdict& verdict)
    {
        if (verdict.status() != Status::DONE)
            m_progress.clear();
        for (const NodeFailure& failure : verdict.failures)
            std::cerr << DbFile::shown(node) << ": " << failure.text << '\n';
        if (m_isJson)
            printLine(documentOf(node, verdict));
        else
            m_text.print(node, verdict);
        if (m_junit)
            m_junit->add(node, verdict);
        m_worst = std::max(m_worst, verdict.status());
        m_progress.show(++m_done);
    }

    Status finish()
    {
        m_progress.clear();
        if (!m_isJson)
            m_text.finish();
        if (m_junit)
            m_junit->finish();
        return m_worst;
    }

private:
    bool m_isJson;
    AuditText m_text;
    std::optional<JunitReport> m_junit;
    Progress m_progress;
    std::size_t m_done = 0;
    Status m_worst = Status::DONE;
};

Status audit(const AuditOptions& options)
{
    FileCache cache(judgementOf(options.schemas));
    const Status ofSchemas = judgeSchemas(cache.judgement().schema);
    const NodeAuditor auditor(options.rules, cache);
    AuditOutput output(options);
    const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
    const std::size_t jobs =
        std::min(options.jobs > 0 ? options.jobs : cores, options.nodes.size());
    InOrder<NodeVerdict>(options.nodes.size(), jobs, [&](std::size_t i) {
        return auditor.judge(options.nodes[i]);
    }).takeAll([&](std::size_t i, const NodeVerdict& verdict) {
        output.take(options.nodes[i], verdict);
    });
    return std::max(ofSchemas, output.finish());
}

void addRules(CLI::App& command, AuditRules& rules)
{
    command
        .add_option(
            "--config", rules.configs,
            "A configuration file, as on the nodes; may be given several times. Without it, "
            "those that a node's directory holds")
        ->type_name("PATH")
        ->allow_extra_args(false);
    command
        .add_option("--production", rules.production,
                    "The production database, as on the nodes, in place of the one that the "
                    "environment names. Without either, the one that a node's directory holds")
        ->type_name("PATH");
    command
        .add_option("--against", rules.against,
                    "Show what clients would read differently than on the nodes of the same names "
                    "in this directory")
        ->type_name("OLD")
        ->check(CLI::ExistingDirectory);
}

} // namespace

void addAudit(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<AuditOptions>();
    CLI::App* const command = app.add_subcommand(
        "audit", "Judge the files of many nodes, as explain, check and schemas do for one");
    addRules(*command, options->rules);
    addSchemaOptions(*command, options->schemas);
    command->add_flag("--json", options->json, "Print one JSON document a node, a line each");
    command->add_option("--junit", options->junit, "Write a JUnit report there, too, a case a node")
        ->type_name("FILE");
    command->add_option("--jobs", options->jobs, "Judge so many nodes at once; 0: one a core")
        ->type_name("N")
        ->check(CLI::Range(0U, 1024U));
    command
        ->add_option("node", options->nodes,
                     "Directories, each with a node's files as they stand on the node")
        ->type_name("NODE")
        ->required();
    command->callback([options, &status] { status = audit(*options); });
}

} // namespace Varnix::Tool

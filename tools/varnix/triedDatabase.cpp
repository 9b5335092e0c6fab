#include "triedDatabase.h"

#include "effectText.h"
#include "explanation.h"
#include "nodeDiagnosis.h"
#include "schema/judge.h"

#include <iostream>
#include <set>
#include <utility>

namespace Varnix::Tool {

namespace {

/** A value that a schema does not allow is refused, too. */
void judge(TriedDatabase& database, const std::string& key, const Judgement& judgement)
{
    if (database.effect.refusal)
        return;
    std::string refusals;
    for (Schema::Finding& finding :
         judge(judgement.schema, key, database.effect.after, judgement.coverage))
        if (isWarning(finding.check))
            database.warnings.push_back(std::move(finding.text));
        else
            refusals.append(refusals.empty() ? "" : "; ").append(finding.text);
    if (!refusals.empty())
        database.effect.refusal = std::move(refusals);
}

} // namespace

std::vector<TriedDatabase> triedOn(const std::string& config, const Trial& trial,
                                   const NodePlace& place, const Judgement& judgement)
{
    const Explanation explanation = explain(config, place);
    if (!explanation.isUsable())
        throw whyUnusable(explanation);
    std::vector<TriedDatabase> databases;
    if (const DbFile::StoredValue* const found = explanation.productionStore.find(trial.key()))
        databases.push_back({"", found->value, trial.on(found->value), {}});
    if (const DbFile::StoredValue* const found = explanation.componentStore.find(trial.key()))
        databases.push_back({config, found->value, trial.on(found->value), {}});
    if (databases.empty())
        throw noSuchKey(trial.key(), explanation.keys());
    for (TriedDatabase& database : databases)
        judge(database, trial.key(), judgement);
    return databases;
}

void printWarnings(const std::vector<TriedDatabase>& databases)
{
    std::set<std::string> warnings;
    for (const TriedDatabase& database : databases)
        warnings.insert(database.warnings.begin(), database.warnings.end());
    for (const std::string& warning : warnings)
        std::cerr << "varnix: warning: " << warning << '\n';
}

std::string lineOf(const TriedDatabase& database)
{
    return databaseName(database.config) + '\t' + effectText(database.before, database.effect);
}

} // namespace Varnix::Tool

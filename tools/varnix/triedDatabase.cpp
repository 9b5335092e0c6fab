#include "triedDatabase.h"

#include "effectText.h"
#include "explanation.h"
#include "nodeDiagnosis.h"
#include "schema/judge.h"

#include <utility>

namespace Varnix::Tool {

namespace {

/** A value that a schema does not allow is refused, too. */
Effect judged(Effect effect, const std::string& key, const Judgement& judgement)
{
    if (effect.refusal)
        return effect;
    std::string refusals;
    for (const Schema::Finding& finding :
         judge(judgement.schema, key, effect.after, judgement.coverage))
        if (!isWarning(finding.check))
            refusals.append(refusals.empty() ? "" : "; ").append(finding.text);
    if (!refusals.empty())
        effect.refusal = std::move(refusals);
    return effect;
}

} // namespace

std::vector<TriedDatabase> triedOn(const std::string& config, const Trial& trial,
                                   const NodePlace& place, const Judgement& judgement)
{
    const auto effectOn = [&](const DbFile::Value& value) {
        return judged(trial.on(value), trial.key(), judgement);
    };
    const Explanation explanation = explain(config, place);
    if (!explanation.isUsable())
        refuseUnusable(explanation);
    std::vector<TriedDatabase> databases;
    if (const DbFile::StoredValue* const found = explanation.productionStore.find(trial.key()))
        databases.push_back({"", found->value, effectOn(found->value)});
    if (const DbFile::StoredValue* const found = explanation.componentStore.find(trial.key()))
        databases.push_back({config, found->value, effectOn(found->value)});
    if (databases.empty())
        throw noSuchKey(trial.key(), explanation.keys());
    return databases;
}

std::string lineOf(const TriedDatabase& database)
{
    return databaseName(database.config) + '\t' + effectText(database.before, database.effect);
}

} // namespace Varnix::Tool

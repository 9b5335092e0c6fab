#include "triedDatabase.h"

#include "effectText.h"
#include "explanation.h"
#include "nodeDiagnosis.h"

namespace Varnix::Tool {

std::vector<TriedDatabase> triedOn(const std::string& config, const Trial& trial,
                                   const NodePlace& place)
{
    const Explanation explanation = explain(config, place);
    if (!explanation.isUsable())
        refuseUnusable(explanation);
    std::vector<TriedDatabase> databases;
    if (const StoredValue* const found = explanation.productionStore.find(trial.key()))
        databases.push_back({"", found->value, trial.on(found->value)});
    if (const StoredValue* const found = explanation.componentStore.find(trial.key()))
        databases.push_back({config, found->value, trial.on(found->value)});
    if (databases.empty())
        throw noSuchKey(trial.key(), explanation.keys());
    return databases;
}

std::string lineOf(const TriedDatabase& database)
{
    return databaseName(database.config) + '\t' + effectText(database.before, database.effect);
}

} // namespace Varnix::Tool

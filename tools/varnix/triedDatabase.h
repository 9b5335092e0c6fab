#ifndef VARNIX_TOOL_TRIEDDATABASE_H
#define VARNIX_TOOL_TRIEDDATABASE_H

#include "databaseFile.h"
#include "dbfile/store.h"
#include "nodePlace.h"
#include "trial.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Varnix::Tool {

/** What becomes of the parameter in one database of a fresh client. */
struct TriedDatabase
{
    std::string config; ///< empty for the production database
    DbFile::Value before;
    Effect effect;
    std::vector<std::string> warnings; ///< a schema's, of the value as it would be
};

/**
 * The databases of a client of `config` that hold the key; a schema's refusal is one as well.
 * Failure with NO where none does, and as explain() fails where the client gets no database.
 */
std::vector<TriedDatabase> triedOn(const std::string& config, const Trial& trial,
                                   const NodePlace& place = {}, const Judgement& judgement = {});

/** Whether none would refuse. */
inline bool isTaken(const std::vector<TriedDatabase>& databases)
{
    return std::none_of(databases.begin(), databases.end(), [](const TriedDatabase& database) {
        return database.effect.refusal.has_value();
    });
}

/** Prints the warnings on standard error, each once. */
void printWarnings(const std::vector<TriedDatabase>& databases);

/** A database as a line: its name, a tab and what becomes of the parameter. */
std::string lineOf(const TriedDatabase& database);

} // namespace Varnix::Tool

#endif

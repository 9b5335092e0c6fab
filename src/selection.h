#ifndef VARNIX_SELECTION_H
#define VARNIX_SELECTION_H

#include "configFile.h"

#include <string>
#include <vector>

/** Which database files a node's identities select from a configuration. */
namespace Varnix::Backend::Selection {

/** The pattern of an entry: component_id, an underscore, revision. */
std::string pattern(const DBUtils::DbConfiguration& configuration);

/** Whether `pattern` matches the whole of `identity`, as fnmatch does without flags. */
bool matches(const std::string& pattern, const std::string& identity);

/** Whether `pattern` matches at least one of `identities`. */
bool matchesAny(const std::string& pattern, const std::vector<std::string>& identities);

/** `paths` with only the first of equal ones, in order. */
std::vector<std::string> withoutDuplicates(const std::vector<std::string>& paths);

/** The files of all entries that match, in the order in which they win, each once. */
std::vector<std::string> selectFiles(const std::vector<DBUtils::DbConfiguration>& configurations,
                                     const std::vector<std::string>& identities);

} // namespace Varnix::Backend::Selection

#endif

#include "selection.h"

#include <algorithm>
#include <set>
#include <string_view>

#include <fnmatch.h>

namespace Varnix::Backend::Selection {

std::string pattern(const DBUtils::DbConfiguration& configuration)
{
    return configuration.componentId + "_" + configuration.revision;
}

bool matches(const std::string& pattern, const std::string& identity)
{
    return fnmatch(pattern.c_str(), identity.c_str(), 0) == 0;
}

bool matchesAny(const std::string& pattern, const std::vector<std::string>& identities)
{
    return std::any_of(identities.begin(), identities.end(),
                       [&](const std::string& identity) { return matches(pattern, identity); });
}

std::vector<std::string> withoutDuplicates(const std::vector<std::string>& paths)
{
    std::set<std::string_view> seen;
    std::vector<std::string> distinct;
    for (const std::string& path : paths)
        if (seen.insert(path).second)
            distinct.push_back(path);
    return distinct;
}

std::vector<std::string> selectFiles(const std::vector<DBUtils::DbConfiguration>& configurations,
                                     const std::vector<std::string>& identities)
{
    std::vector<std::string> paths;
    for (const DBUtils::DbConfiguration& configuration : configurations) {
        if (matchesAny(pattern(configuration), identities)) {
            paths.insert(paths.end(), configuration.filePaths.begin(),
                         configuration.filePaths.end());
        }
    }
    return withoutDuplicates(paths);
}

} // namespace Varnix::Backend::Selection

#include "selection.h"

#include <algorithm>
#include <numeric>

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
    std::vector<std::size_t> order(paths.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // Stable, so that of equal paths the earliest stands first and is the one kept.
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return paths[a] < paths[b]; });
    order.erase(std::unique(order.begin(), order.end(),
                            [&](std::size_t a, std::size_t b) { return paths[a] == paths[b]; }),
                order.end());
    std::sort(order.begin(), order.end());

    std::vector<std::string> distinct;
    distinct.reserve(order.size());
    for (const std::size_t index : order)
        distinct.push_back(paths[index]);
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

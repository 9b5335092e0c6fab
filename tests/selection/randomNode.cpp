#include "tests/selection/randomNode.h"

#include <array>

namespace Varnix::Test {

namespace {

constexpr std::array identityPieces{"a", "b", "_", "ab", "a_b"};
constexpr std::array patternPieces{"a", "b", "_", "*", "*", "?", "[ab]", "[!a]"};

template <typename Pieces>
std::string randomText(Random& random, const Pieces& pieces, std::size_t atLeast)
{
    std::string text;
    for (std::size_t count = atLeast + below(random, 3); count > 0; --count)
        text.append(pieces[below(random, pieces.size())]);
    return text;
}

} // namespace

std::size_t below(Random& random, std::size_t limit)
{
    return random() % limit;
}

std::vector<std::string> randomIdentities(Random& random)
{
    std::vector<std::string> identities(below(random, 4));
    for (std::string& identity : identities)
        identity = randomText(random, identityPieces, 1);
    return identities;
}

std::vector<ConfigEntry> randomEntries(Random& random, const std::vector<std::string>& paths)
{
    std::vector<ConfigEntry> entries(below(random, 6));
    for (ConfigEntry& entry : entries) {
        entry.componentId = randomText(random, patternPieces, 0);
        entry.revision = randomText(random, patternPieces, 0);
        for (std::size_t count = below(random, 4); count > 0; --count)
            entry.filePaths.push_back(paths[below(random, paths.size())]);
    }
    return entries;
}

} // namespace Varnix::Test

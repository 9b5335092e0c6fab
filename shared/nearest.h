#ifndef VARNIX_SHARED_NEAREST_H
#define VARNIX_SHARED_NEAREST_H

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

/** What somebody who mistyped a word may have meant. */
namespace Nearest {

/** How many characters have to be inserted, removed, replaced or swapped with their neighbour. */
inline std::size_t distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::swap(beforeLast, last);
        std::swap(last, row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
    }
    return row[b.size()];
}

/** The candidate nearest to `word`, the first of several; an empty one where there is none. */
template <typename Candidates>
std::string_view candidate(std::string_view word, const Candidates& candidates)
{
    const auto nearest = std::min_element(std::begin(candidates), std::end(candidates),
                                          [word](std::string_view a, std::string_view b) {
                                              return distance(word, a) < distance(word, b);
                                          });
    return nearest == std::end(candidates) ? std::string_view() : std::string_view(*nearest);
}

/** At most `most` of the candidates, the nearest first, equally near ones in order. */
template <typename Candidates>
std::vector<std::string_view> candidates(std::string_view word, const Candidates& all,
                                         std::size_t most)
{
    std::vector<std::pair<std::size_t, std::string_view>> ranked;
    ranked.reserve(std::size(all));
    for (const std::string_view one : all)
        ranked.emplace_back(distance(word, one), one);
    most = std::min(most, ranked.size());
    const auto end = ranked.begin() + static_cast<std::ptrdiff_t>(most);
    std::partial_sort(ranked.begin(), end, ranked.end());
    std::vector<std::string_view> nearest;
    for (auto one = ranked.begin(); one != end; ++one)
        nearest.push_back(one->second);
    return nearest;
}

} // namespace Nearest

#endif

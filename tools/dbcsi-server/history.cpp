#include "history.h"

#include <algorithm>
#include <iterator>

namespace Dbcsi {

void History::had(const ProcessId& process, std::size_t index)
{
    if (!process.isKnown())
        return;
    std::vector<Range>& ranges = m_had[process];
    // The first that ends at the index or later: all before it are too far away to grow.
    auto next = std::find_if(ranges.begin(), ranges.end(),
                             [index](const Range& range) { return range.end >= index; });
    if (next == ranges.end() || next->begin > index + 1) {
        ranges.insert(next, {index, index + 1});
        return;
    }
    next->begin = std::min(next->begin, index);
    next->end = std::max(next->end, index + 1);
    const auto following = next + 1;
    if (following != ranges.end() && following->begin == next->end) {
        next->end = following->end;
        ranges.erase(following);
    }
}

void History::hadFirstMissing(const ProcessId& process, std::size_t count)
{
    const std::vector<std::size_t> indices = missing(process);
    for (std::size_t i = 0; i < std::min(count, indices.size()); ++i)
        had(process, indices[i]);
}

std::vector<std::size_t> History::missing(const ProcessId& process) const
{
    std::vector<std::size_t> indices = missingByName(process);
    const ProcessId unnamed{process.process, process.startTime, 0};
    if (!m_had.contains(unnamed))
        return indices;
    const std::vector<std::size_t> others = missingByName(unnamed);
    std::vector<std::size_t> both;
    std::set_intersection(indices.begin(), indices.end(), others.begin(), others.end(),
                          std::back_inserter(both));
    return both;
}

std::vector<std::size_t> History::missingByName(const ProcessId& process) const
{
    std::vector<std::size_t> indices;
    std::size_t next = 0;
    const auto skipTo = [&](std::size_t begin) {
        for (; next < begin; ++next)
            indices.push_back(next);
    };
    if (const auto known = m_had.find(process); known != m_had.end())
        for (const Range& range : known->second) {
            skipTo(range.begin);
            next = range.end;
        }
    skipTo(m_writes.size());
    return indices;
}

} // namespace Dbcsi

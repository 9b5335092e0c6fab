#include "dbfile/comparison.h"

#include <set>

namespace Varnix::DbFile {

namespace {

std::optional<Value> find(const std::map<std::string, Value>& values, const std::string& key)
{
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
}

} // namespace

std::map<std::string, Value> parameters(const std::vector<Record>& records)
{
    std::map<std::string, Value> values;
    for (const Record& record : records) {
        if (!isKept(record.key, record.type))
            continue;
        const auto [place, isNew] = values.try_emplace(record.key, Value{.type = record.type});
        if (!record.data.empty())
            place->second.type = record.type;
        place->second.data = record.data;
    }
    return values;
}

std::vector<Difference> differences(const std::vector<Record>& first,
                                    const std::vector<Record>& second)
{
    const std::map<std::string, Value> firstValues = parameters(first);
    const std::map<std::string, Value> secondValues = parameters(second);
    std::set<std::string> keys;
    for (const auto* const values : {&firstValues, &secondValues})
        for (const auto& [key, value] : *values)
            keys.insert(key);

    std::vector<Difference> found;
    for (const std::string& key : keys) {
        Difference difference{key, find(firstValues, key), find(secondValues, key)};
        if (difference.first != difference.second)
            found.push_back(std::move(difference));
    }
    return found;
}

} // namespace Varnix::DbFile

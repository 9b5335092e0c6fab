#include "dbfile/comparison.h"

#include <set>
#include <utility>

namespace Varnix::DbFile {

namespace {

Store storeOf(const std::vector<Record>& records)
{
    Store store;
    store.populate(records);
    return store;
}

std::optional<StoredValue> copyOf(const StoredValue* value)
{
    return value == nullptr ? std::nullopt : std::optional(*value);
}

/** Whether a client finds the same; the records may say it in different ways. */
bool isSame(const std::optional<StoredValue>& a, const std::optional<StoredValue>& b)
{
    return a && b && a->value == b->value;
}

} // namespace

std::vector<Difference> differences(const std::vector<Record>& first,
                                    const std::vector<Record>& second)
{
    const Store firstStore = storeOf(first);
    const Store secondStore = storeOf(second);
    std::set<std::string> keys;
    for (const Store* const store : {&firstStore, &secondStore})
        for (const auto& [key, value] : store->values())
            keys.insert(key);

    std::vector<Difference> found;
    for (const std::string& key : keys) {
        Difference difference{key, copyOf(firstStore.find(key)), copyOf(secondStore.find(key))};
        if (!isSame(difference.first, difference.second))
            found.push_back(std::move(difference));
    }
    return found;
}

} // namespace Varnix::DbFile

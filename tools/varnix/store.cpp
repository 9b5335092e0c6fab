#include "store.h"

namespace Varnix::Tool {

void Store::populate(const std::vector<DbFile::Record>& records, std::size_t file)
{
    for (const DbFile::Record& record : records) {
        if (!DbFile::isKept(record.key, record.type))
            continue;
        const auto [place, isNew] = m_values.try_emplace(record.key);
        StoredValue& stored = place->second;
        // An empty record takes the data away and leaves the type; a new key then has none.
        const bool changes = isNew || !record.data.empty() || !stored.value.data.empty();
        if (!record.data.empty())
            stored.value.type = record.type;
        stored.value.data = record.data;
        if (changes)
            stored.file = file;
    }
}

const StoredValue* Store::find(const std::string& key) const
{
    const auto found = m_values.find(key);
    return found == m_values.end() ? nullptr : &found->second;
}

} // namespace Varnix::Tool

#include "dbfile/store.h"

namespace Varnix::DbFile {

void Store::populate(const std::vector<Record>& records, std::size_t file)
{
    for (const Record& record : records) {
        if (!isKept(record.key, record.type))
            continue;
        const auto [place, isNew] = m_values.try_emplace(record.key);
        StoredValue& stored = place->second;
        if (isNew || !record.data.empty() || !stored.value.data.empty()) {
            stored.file = file;
            stored.recordType = record.type;
        }
        if (!record.data.empty())
            stored.value.type = record.type;
        stored.value.data = record.data;
    }
}

const StoredValue* Store::find(const std::string& key) const
{
    const auto found = m_values.find(key);
    return found == m_values.end() ? nullptr : &found->second;
}

} // namespace Varnix::DbFile

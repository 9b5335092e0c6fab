#ifndef VARNIX_TOOL_STORE_H
#define VARNIX_TOOL_STORE_H

#include "dbfile/comparison.h"
#include "dbfile/database.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Varnix::Tool {

/** A parameter as the library's store holds it, and which file made it so. */
struct StoredValue
{
    /** Its type is 0 when nothing but empty records stood for the key: no read accepts it. */
    DbFile::Value value;
    /** The file that changed it last, by the number that populate() was given. */
    std::size_t file = 0;
};

/** What files, populated one after the other, leave in a store: for every key the last record. */
class Store
{
public:
    void populate(const std::vector<DbFile::Record>& records, std::size_t file);

    /** Null when no file holds the key. */
    const StoredValue* find(const std::string& key) const;

    const std::map<std::string, StoredValue>& values() const noexcept { return m_values; }

private:
    std::map<std::string, StoredValue> m_values;
};

} // namespace Varnix::Tool

#endif

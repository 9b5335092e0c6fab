#ifndef VARNIX_DBFILE_STORE_H
#define VARNIX_DBFILE_STORE_H

#include "dbfile/database.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Varnix::DbFile {

/** A parameter's type and data. */
struct Value
{
    std::uint8_t type = 0;
    std::string data = {};

    bool operator==(const Value&) const = default;
};

/** A parameter as a client's store holds it, and the record that made it so. */
struct StoredValue
{
    /** Its type is 0 when only empty records were given for the key: no read accepts it. */
    Value value = {};
    /** The file of the record that changed it last, by the number that populate() was given. */
    std::size_t file = 0;
    /** The type in that record; an empty record does not set the value's type. */
    std::uint8_t recordType = 0;

    bool operator==(const StoredValue&) const = default;
};

/**
 * What files, populated one after the other, leave in a client's store. Everything that says what a
 * client finds in files asks this class, which follows the library's own store.
 */
class Store
{
public:
    /**
     * Of records with the same key the last one counts. An empty one empties the value and leaves
     * its type; a new key then has none. A record that is not kept changes nothing.
     */
    void populate(const std::vector<Record>& records, std::size_t file = 0);

    /** Null when no file holds the key. */
    const StoredValue* find(const std::string& key) const;

    const std::map<std::string, StoredValue>& values() const noexcept { return m_values; }

private:
    std::map<std::string, StoredValue> m_values;
};

} // namespace Varnix::DbFile

#endif

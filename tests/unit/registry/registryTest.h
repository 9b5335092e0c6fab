#ifndef VARNIX_TESTS_REGISTRYTEST_H
#define VARNIX_TESTS_REGISTRYTEST_H

#include "registryFixture.h"

#include <string>
#include <vector>

namespace Varnix::Test {

using namespace Backend;
using Values = std::vector<std::uint16_t>;

inline const std::string source = "dbRegistryImpl.cpp: ";

/** A registry with a configuration, and which files and stores it serves. */
class Registry : public RegistryFixture
{
protected:
    /** The registry's own records of an initDb. */
    Records registryRecords() const
    {
        Records own;
        for (const std::string& record : traced())
            if (record.find(' ' + source) != std::string::npos)
                own.push_back(record);
        return own;
    }

    std::string file(const std::string& name, std::int64_t value) const
    {
        return m_node.database(name, DbBuilder().u16("/who", {value}));
    }

    /** The value of "/who" in a store that comes from `entries`. */
    Values winner(const std::vector<ConfigEntry>& entries) const
    {
        const Store store = registry().initDb(m_node.configuration("node.cfg", entries));
        return store ? elements<std::uint16_t>(*store, "/who") : Values();
    }

    /** Whether an entry with this pattern is selected. */
    bool selects(const std::string& componentId, const std::string& revision) const
    {
        return winner({{componentId, revision, {file("one.db", 1)}}}) == Values{1};
    }

    /** Whether a write still reaches the store. */
    static bool isReached(const DatabaseImpl& store)
    {
        static std::uint16_t next = 100;
        ++next;
        writeNumbers("/who", {std::to_string(next)}, 0);
        return elements<std::uint16_t>(store, "/who") == Values{next};
    }
};

} // namespace Varnix::Test

#endif

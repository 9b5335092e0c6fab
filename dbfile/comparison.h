#ifndef VARNIX_DBFILE_COMPARISON_H
#define VARNIX_DBFILE_COMPARISON_H

#include "dbfile/database.h"

#include <cstdint>
#include <map>
#include <optional>
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

/**
 * The parameters that records make, as a client would find them: of records with the same key the
 * last one counts, and if that is empty it empties the value and leaves its type. A record that is
 * not kept is no parameter.
 */
std::map<std::string, Value> parameters(const std::vector<Record>& records);

/** A parameter that two databases do not hold alike. */
struct Difference
{
    std::string key;
    std::optional<Value> first;
    std::optional<Value> second;

    bool operator==(const Difference&) const = default;
};

/** What differs between two databases as parameters, in the order of the keys. */
std::vector<Difference> differences(const std::vector<Record>& first,
                                    const std::vector<Record>& second);

} // namespace Varnix::DbFile

#endif

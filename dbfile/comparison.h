#ifndef VARNIX_DBFILE_COMPARISON_H
#define VARNIX_DBFILE_COMPARISON_H

#include "dbfile/store.h"

#include <optional>
#include <string>
#include <vector>

namespace Varnix::DbFile {

/** A parameter of which a client finds something else in two databases. */
struct Difference
{
    std::string key;
    std::optional<StoredValue> first;
    std::optional<StoredValue> second;

    bool operator==(const Difference&) const = default;
};

/** What differs between two databases as parameters, in the order of the keys. */
std::vector<Difference> differences(const std::vector<Record>& first,
                                    const std::vector<Record>& second);

} // namespace Varnix::DbFile

#endif

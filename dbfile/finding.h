#ifndef VARNIX_DBFILE_FINDING_H
#define VARNIX_DBFILE_FINDING_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::DbFile {

/** Something said about a place in a database file. */
struct Finding
{
    std::uint64_t offset = 0;
    std::string text;

    bool operator==(const Finding&) const = default;
};

/** "FILE:@0x1a4: SEVERITY: text". */
std::string describe(std::string_view file, const Finding& finding,
                     std::string_view severity = "error");

/** The errors, a line each. */
std::string describe(std::string_view file, const std::vector<Finding>& findings);

/** The warning of a key that no record gives a byte. */
std::string noValue(std::string_view key);

/** "0x1a4". */
std::string hexNumber(std::uint64_t value);

/** "0a 0b 0c". */
std::string hexBytes(std::string_view bytes);

} // namespace Varnix::DbFile

#endif

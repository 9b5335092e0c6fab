#ifndef VARNIX_SCHEMA_REPORT_H
#define VARNIX_SCHEMA_REPORT_H

#include "dbfile/sourceParser.h"
#include "schema/checks.h"
#include "schema/judge.h"
#include "schema/schema.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Schema {

/** A finding with its place in a file. */
struct Report
{
    Check check;
    /** "FILE:@0x1a4" of a database file, "FILE:LINE:COLUMN" of a text source. */
    std::string place;
    std::string text;
    /** In a database file. */
    std::uint64_t offset = 0;
};

/** "PLACE: SEVERITY: text". */
std::string describe(const Report& report, std::string_view severity);

/** What must not be in the schema itself. */
std::vector<Report> reportSchema(const Schema& schema);

/** What the schema says against the records of an image that a loader accepts. */
std::vector<Report> reportImage(const Schema& schema, const std::string& file,
                                std::string_view image, Coverage coverage);

/**
 * What the schema says against the database that `parser` read without errors; `texts` are its
 * sources by their names.
 */
std::vector<Report> reportSources(const Schema& schema, const DbFile::SourceParser& parser,
                                  const std::map<std::string, std::string>& texts,
                                  Coverage coverage);

} // namespace Varnix::Schema

#endif

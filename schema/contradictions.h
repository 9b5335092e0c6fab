#ifndef VARNIX_SCHEMA_CONTRADICTIONS_H
#define VARNIX_SCHEMA_CONTRADICTIONS_H

#include "dbfile/sourceText.h"
#include "schema/checks.h"
#include "schema/schema.h"

#include <vector>

namespace Varnix::Schema {

/** Something said against a schema itself. */
struct SchemaFinding
{
    Check check;
    /** The text ends with the position of the line that is contradicted. */
    DbFile::SourceFinding finding;
};

/**
 * What no parameter can fulfil: lines whose keys overlap and that contradict each other, in one
 * schema or in several, and defaults that the lines refuse.
 */
std::vector<SchemaFinding> contradictions(const Schema& schema);

} // namespace Varnix::Schema

#endif

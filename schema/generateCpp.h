#ifndef VARNIX_SCHEMA_GENERATECPP_H
#define VARNIX_SCHEMA_GENERATECPP_H

#include "dbfile/sourceText.h"
#include "schema/schema.h"

#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Schema {

/** A header with an accessor for each parameter. */
struct GeneratedCpp
{
    std::string text;
    /** Lines whose keys give the same name as others'; the text leaves them out. */
    std::vector<DbFile::SourceFinding> errors;
};

/** The same schema always gives the same text. `space` may be nested: "A::B". */
GeneratedCpp generateCpp(const Schema& schema, const std::string& space);

/** Whether it can be a namespace. */
bool isNamespace(std::string_view name);

/** A namespace that the name of a schema's file suggests. */
std::string namespaceFor(const std::string& file);

} // namespace Varnix::Schema

#endif

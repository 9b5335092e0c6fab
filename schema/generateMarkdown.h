#ifndef VARNIX_SCHEMA_GENERATEMARKDOWN_H
#define VARNIX_SCHEMA_GENERATEMARKDOWN_H

#include "schema/schema.h"

#include <string>

namespace Varnix::Schema {

/** A page that says of each parameter what the schema does; the same schema gives the same page. */
std::string generateMarkdown(const Schema& schema);

} // namespace Varnix::Schema

#endif

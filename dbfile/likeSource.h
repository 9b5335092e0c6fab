#ifndef VARNIX_DBFILE_LIKESOURCE_H
#define VARNIX_DBFILE_LIKESOURCE_H

#include "dbfile/database.h"

#include <string>
#include <string_view>

namespace Varnix::DbFile {

/**
 * The text source of a database as printSource() gives it, with the comments and the spelling of
 * another source: a parameter that is the same is written as it is there, and comments stay before
 * and after the parameters that they are written to. `source` must be one without errors.
 */
std::string printLike(const Database& database, std::string_view source);

} // namespace Varnix::DbFile

#endif

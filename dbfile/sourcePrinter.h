#ifndef VARNIX_DBFILE_SOURCEPRINTER_H
#define VARNIX_DBFILE_SOURCEPRINTER_H

#include "dbfile/database.h"

#include <string>

namespace Varnix::DbFile {

/**
 * The text source of a database: SourceParser reads the same value from it. What a plain source
 * cannot say is in directives.
 */
std::string printSource(const Database& database);

} // namespace Varnix::DbFile

#endif

#ifndef VARNIX_DBFILE_SOURCEPRINTER_H
#define VARNIX_DBFILE_SOURCEPRINTER_H

#include "dbfile/database.h"

#include <functional>
#include <string>

namespace Varnix::DbFile {

/**
 * The text source of a database: SourceParser reads the same value from it. What a plain source
 * cannot say is in directives.
 */
std::string printSource(const Database& database);

/** A parameter as a line of a plain source. */
std::string printParameter(const Record& record);

/** The same with parameters that `print` prints, and with `end` after them. */
std::string printSource(const Database& database,
                        const std::function<std::string(const Record& record)>& print,
                        const std::string& end);

} // namespace Varnix::DbFile

#endif

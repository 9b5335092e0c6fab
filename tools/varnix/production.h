#ifndef VARNIX_TOOL_PRODUCTION_H
#define VARNIX_TOOL_PRODUCTION_H

#include "dbfile/database.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

/** The node's production database, found as the library finds it. */
namespace Varnix::Tool {

/** The parameter that holds the node's identities. */
inline constexpr const char* identitiesKey = "/componentConfigId";

/** The environment variables that name the database, in the order in which they are tried. */
inline constexpr std::array productionVariables{"sys_uflash_prod_db_dev_dev",
                                                "sys_uflash_prod_db_dev"};

struct ProductionFile
{
    /** The environment variable that names it. */
    std::string variable;
    std::string path;
};

struct Production
{
    ProductionFile file;
    std::vector<DbFile::Record> records;
};

/** What the environment names, in the order in which it is tried. */
std::vector<ProductionFile> productionFiles();

/** The first of the files that is loaded; nothing when its records cannot be read. */
std::optional<Production> readProduction(const std::vector<ProductionFile>& files);

/** Why none of the files that the environment names can be used. */
std::string whyNoProduction();

/**
 * The node's identities. Failure with NodeUnusable without a production database or without a text
 * for them in it; `alternative` ends the sentence that says what to do.
 */
std::vector<std::string> requireIdentities(const std::optional<Production>& production,
                                           const std::string& alternative = {});

} // namespace Varnix::Tool

#endif

#ifndef VARNIX_TOOL_PRODUCTION_H
#define VARNIX_TOOL_PRODUCTION_H

#include "dbfile/database.h"

#include <optional>
#include <string>
#include <vector>

/** The node's production database, found as the library finds it. */
namespace Varnix::Tool {

/** The parameter that holds the node's identities. */
inline constexpr const char* identitiesKey = "/componentConfigId";

struct ProductionFile
{
    /** The environment variable that names it. */
    std::string variable;
    std::string path;
};

struct Production
{
    ProductionFile file;
    DbFile::Database database;
};

/** What the environment names, in the order in which it is tried. */
std::vector<ProductionFile> productionFiles();

/** The first of the files that can be used. */
std::optional<Production> readProduction(const std::vector<ProductionFile>& files);

/** Why none of the files can be used. */
std::string whyNoProduction(const std::vector<ProductionFile>& files);

/** The node's identities; nothing when the production database holds no text for them. */
std::optional<std::vector<std::string>> identitiesIn(const DbFile::Database& production);

/** What to say when identitiesIn() answers nothing. */
std::string whyNoIdentities();

} // namespace Varnix::Tool

#endif

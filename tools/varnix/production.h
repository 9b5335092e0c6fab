#ifndef VARNIX_TOOL_PRODUCTION_H
#define VARNIX_TOOL_PRODUCTION_H

#include "databaseFile.h"

#include <array>
#include <memory>
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

/** The option that names it on the command line. */
inline constexpr const char* productionOption = "--production";

struct ProductionFile
{
    /** The environment variable or the option that names it. */
    std::string variable;
    std::string path;
    /** Where it is on this host. */
    std::string place;
};

struct Production
{
    ProductionFile file;
    std::shared_ptr<const FileContent> content;
};

/** What the environment names, in the order in which it is tried, each at its path. */
std::vector<ProductionFile> productionFilesOfEnvironment();

/** The first of the files that is loaded; nothing when its records cannot be read. */
std::optional<Production> readProduction(const std::vector<ProductionFile>& files,
                                         const FileReader& read);

/** Why none of the files can be used. */
std::string whyNoProduction(const std::vector<ProductionFile>& files, const FileReader& read);

/**
 * Refuses what would keep a client from going on at all: a file that ends early, for whose rest the
 * loader waits. Failure with NODE_UNUSABLE.
 */
void refuseEndless(const std::vector<ProductionFile>& files, const FileReader& read);

/**
 * The identities in the production database that was read from the files. Failure with
 * NODE_UNUSABLE without one or without a text for them in it; `alternative` ends the sentence that
 * says what to do; nothing: it is not said.
 */
std::vector<std::string> requireIdentities(const std::optional<Production>& production,
                                           const std::vector<ProductionFile>& files,
                                           const FileReader& read,
                                           const std::optional<std::string>& alternative = "");

} // namespace Varnix::Tool

#endif

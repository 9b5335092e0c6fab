#ifndef VARNIX_TESTS_NODEDIRECTORY_H
#define VARNIX_TESTS_NODEDIRECTORY_H

#include "tests/support/dbBuilder.h"
#include "tests/support/temporaryDirectory.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Varnix::Test {

/** The environment variables that name the production database, in the order of asking. */
inline constexpr const char* firstVariable = "sys_uflash_prod_db_dev_dev";
inline constexpr const char* secondVariable = "sys_uflash_prod_db_dev";

/** The extra of a production database whose load ends even where its first seek fails. */
inline const std::string unreadRest(DbFile::Format::headerSize, 'x');

/** An entry of a component configuration file. */
struct ConfigEntry
{
    std::string componentId;
    std::string revision;
    std::vector<std::string> filePaths;
};

/** The text of a component configuration file. */
std::string configText(const std::vector<ConfigEntry>& entries);

/** The files of a node, in a temporary directory. */
class NodeDirectory
{
public:
    std::filesystem::path operator/(std::string_view name) const { return m_directory / name; }

    /** Writes the node's production database and names it in the environment. */
    void production(const DbBuilder& builder) const;

    /** Takes the production database out of the environment. */
    static void noProduction();

    /** Writes a database file and returns its path. */
    std::string database(const std::string& name, const DbBuilder& builder) const;

    /** Writes a configuration file and returns its path. */
    std::string configuration(const std::string& name,
                              const std::vector<ConfigEntry>& entries) const;

private:
    TemporaryDirectory m_directory;
};

} // namespace Varnix::Test

#endif

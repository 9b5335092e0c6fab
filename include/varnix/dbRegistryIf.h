#ifndef VARNIX_DBREGISTRYIF_H
#define VARNIX_DBREGISTRYIF_H

#include <memory>
#include <string>

#include <varnix/databaseIf.h>
#include <varnix/export.h>

namespace Varnix {
namespace V1 {

/**
 * Where a process gets its parameter databases. There is one registry in a process.
 *
 * ```
 * auto database = Varnix::V1::DbRegistryIf::getInstance().initDb("/etc/node/component.cfg");
 * std::vector<std::uint16_t> gain;
 * if (database && database->get("/unit/gain", gain) == Varnix::V1::DatabaseIf::RetCode::OK)
 *     std::cout << gain.size() << " gains\n";
 * ```
 *
 * Threads: every operation may be called from any thread at any time.
 */
class VARNIX_EXPORT DbRegistryIf
{
public:
    /**
     * The process's registry. It lives until the process exits or unloads the library.
     *
     * Asking for it starts nothing: the first initDb reads the production database, which it finds
     * through the environment variable sys_uflash_prod_db_dev_dev or, failing that,
     * sys_uflash_prod_db_dev, and starts the thread "varnixCmd" that receives run-time writes.
     */
    static DbRegistryIf& getInstance();

    /**
     * Builds the database of one component from the configuration file at `configFile`.
     *
     * The file's entries whose pattern matches one of the node's identities (the words of
     * "/componentConfigId" in the production database) say which database files are loaded; of a
     * key that is in several of them, the first listed file's value counts. When no entry
     * matches, or "/componentConfigId" is nothing but blanks, the result is a database without
     * parameters of its own.
     *
     * Returns an empty pointer when the production database could not be loaded or has no
     * "/componentConfigId" of type CHAR with at least one character, or when the configuration file
     * or one of the selected database files cannot be used: the command varnix explain, or varnix
     * trace while it happens, says why. Every call builds a new database, which run-time writes
     * reach from then on until its handle is dropped.
     *
     * Throws std::bad_alloc when memory is exhausted and std::system_error when a lock cannot be
     * taken; nothing is registered then.
     */
    virtual std::shared_ptr<DatabaseIf> initDb(const std::string& configFile) = 0;

    virtual ~DbRegistryIf();
};

} // namespace V1
} // namespace Varnix

#endif

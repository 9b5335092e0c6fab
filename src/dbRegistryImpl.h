#ifndef VARNIX_DBREGISTRYIMPL_H
#define VARNIX_DBREGISTRYIMPL_H

#include "databaseImpl.h"

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include <pthread.h>

namespace Varnix::Backend {

/** Holds a T in place and never destroys it. */
template <typename T>
union NeverDestroyed {
    constexpr NeverDestroyed() : value() {}
    ~NeverDestroyed() {} // NOLINT(modernize-use-equals-default): a defaulted one would be deleted
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T value;
};

/**
 * The process's databases: the production database, loaded when the registry is made, and one store
 * for every component database in use. Run-time writes reach all of them.
 */
class DbRegistryImpl
{
public:
    /** The one registry, made first if there is none. Never null. */
    static DbRegistryImpl* getInstance();

    /**
     * Destroys the registry, if there is one. Takes no lock: that nobody uses the registry any more
     * is the caller's business.
     */
    static void freeInstance();

    DbRegistryImpl(const DbRegistryImpl&) = delete;
    DbRegistryImpl& operator=(const DbRegistryImpl&) = delete;

    /** Builds and registers the database of a configuration file; null on failure. */
    std::shared_ptr<DatabaseImpl> initDb(const std::string& configFile);

    std::shared_ptr<DatabaseImpl> getProdDb() const { return m_prodDb; }

    /** Forgets a store; one that is not registered is ignored. */
    void removeDb(const std::shared_ptr<DatabaseImpl>& db);

    /** Whether `pattern` matches at least one of `identities`. */
    bool matchComponentElement(const std::string& pattern,
                               const std::vector<std::string>& identities) const;

    /** @name Bulk updates
     * One write, applied to the production database and then to every registered one. A rejected
     * write shows only in the trace.
     * @{ */
    void updateDbs(const std::string& key, const std::string& value, bool append);
    void updateDbs(const std::string& key, const std::vector<std::string>& values, int index);
    void updateDbs(const std::string& key, const std::string& value, int index, int count);
    /** @} */

private:
    friend std::default_delete<DbRegistryImpl>;

    DbRegistryImpl();
    ~DbRegistryImpl();

    static void repairInChild() noexcept;

    void startSubscription() noexcept;
    void stopSubscription() noexcept;
    bool loadFile(const std::string& configFile, const std::string& path, DatabaseImpl& db) const;

    template <typename Write>
    void updateEach(const Write& write);

    // Readable, and null, after the statics are gone: a handle may be dropped even then.
    static NeverDestroyed<std::unique_ptr<DbRegistryImpl>> m_instance;
    static const int m_forkHandler;

    std::vector<std::shared_ptr<DatabaseImpl>> m_databases; ///< guarded by m_databasesMutex
    std::shared_mutex m_databasesMutex;
    std::shared_ptr<DatabaseImpl> m_prodDb; ///< fixed at construction
    bool m_prodDbPopulated = false;         ///< written before the thread starts
    pthread_t m_subscriptionThread{};
    std::uint32_t m_threadGeneration = 0; ///< of the process that has the thread; 0 for none
};

} // namespace Varnix::Backend

#endif

#include "bench/reads.h"

#include <lmdb.h>

#include <cstring>
#include <memory>
#include <stdexcept>

namespace Varnix::Bench {

namespace {

void require(int result)
{
    if (result != 0)
        throw std::runtime_error(mdb_strerror(result));
}

MDB_val valOf(const std::string& text)
{
    return {text.size(), const_cast<char*>(text.data())};
}

/** An environment with one database in it. */
class Store
{
public:
    Store(const std::string& path, const Value& value)
    {
        require(mdb_env_create(&m_env));
        require(mdb_env_set_mapsize(m_env, std::size_t{64} << 20U));
        require(mdb_env_open(m_env, path.c_str(), MDB_NOSUBDIR | MDB_NOTLS, 0600));
        MDB_txn* writes = nullptr;
        require(mdb_txn_begin(m_env, nullptr, 0, &writes));
        require(mdb_dbi_open(writes, nullptr, 0, &m_db));
        for (std::size_t i = 0; i < keyCount; ++i) {
            const std::string key = keyOf(i);
            const std::string bytes = bytesOf(value, i);
            MDB_val keyVal = valOf(key);
            MDB_val bytesVal = valOf(bytes);
            require(mdb_put(writes, m_db, &keyVal, &bytesVal, 0));
        }
        require(mdb_txn_commit(writes));
        require(mdb_txn_begin(m_env, nullptr, MDB_RDONLY, &m_reads));
        mdb_txn_reset(m_reads);
    }
    ~Store()
    {
        mdb_txn_abort(m_reads);
        mdb_env_close(m_env);
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /** Renews the transaction for every read, so that each sees what was written last. */
    unsigned read(const std::string& key, std::vector<unsigned char>& output) const
    {
        MDB_val keyVal = valOf(key);
        MDB_val bytes{};
        if (mdb_txn_renew(m_reads) != 0 || mdb_get(m_reads, m_db, &keyVal, &bytes) != 0)
            std::abort();
        std::memcpy(output.data(), bytes.mv_data, bytes.mv_size);
        mdb_txn_reset(m_reads);
        return output.front();
    }

private:
    MDB_env* m_env = nullptr;
    MDB_txn* m_reads = nullptr;
    MDB_dbi m_db = 0;
};

} // namespace

void addLmdb(const Node& node)
{
    for (const Value& value : commonValues) {
        const auto store =
            std::make_shared<Store>(node.folder() / (std::string(value.name) + ".mdb"), value);
        addReads(std::string(value.name) + "/LMDB", shuffledKeys(), [store, size = value.size] {
            return [store, output = std::vector<unsigned char>(size)](
                       const std::string& key) mutable { return store->read(key, output); };
        });
    }
}

} // namespace Varnix::Bench

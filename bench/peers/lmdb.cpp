#include "bench/peers/byteStore.h"

#include <cstring>
#include <memory>
#include <stdexcept>

#include <lmdb.h>

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

using Environment = std::unique_ptr<MDB_env, decltype(&mdb_env_close)>;

Environment open(const std::string& path)
{
    MDB_env* created = nullptr;
    require(mdb_env_create(&created));
    Environment env(created, mdb_env_close);
    require(mdb_env_set_mapsize(created, std::size_t{64} << 20U));
    require(mdb_env_open(created, path.c_str(), MDB_NOSUBDIR | MDB_NOTLS, 0600));
    return env;
}

void write(const std::string& path, const Parameters& parameters)
{
    const Environment env = open(path);
    MDB_txn* writes = nullptr;
    MDB_dbi db = 0;
    require(mdb_txn_begin(env.get(), nullptr, 0, &writes));
    require(mdb_dbi_open(writes, nullptr, 0, &db));
    for (std::size_t i = 0; i < parameters.count; ++i) {
        const std::string key = keyOf(i);
        const std::string bytes = bytesOf(parameters.value, i);
        MDB_val keyVal = valOf(key);
        MDB_val bytesVal = valOf(bytes);
        require(mdb_put(writes, db, &keyVal, &bytesVal, 0));
    }
    require(mdb_txn_commit(writes));
}

/** An environment with one database in it. */
class Store
{
public:
    explicit Store(const std::string& path) : m_env(open(path))
    {
        require(mdb_txn_begin(m_env.get(), nullptr, MDB_RDONLY, &m_reads));
        require(mdb_dbi_open(m_reads, nullptr, 0, &m_db));
        mdb_txn_reset(m_reads);
    }
    ~Store() { mdb_txn_abort(m_reads); }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    void walk() const
    {
        MDB_cursor* cursor = nullptr;
        require(mdb_txn_renew(m_reads));
        require(mdb_cursor_open(m_reads, m_db, &cursor));
        MDB_val key{};
        MDB_val bytes{};
        int result = 0;
        while (result == 0)
            result = mdb_cursor_get(cursor, &key, &bytes, MDB_NEXT);
        mdb_cursor_close(cursor);
        mdb_txn_reset(m_reads);
        require(result == MDB_NOTFOUND ? 0 : result);
    }

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
    Environment m_env;
    MDB_txn* m_reads = nullptr;
    MDB_dbi m_db = 0;
};

} // namespace

const Peer lmdb{"LMDB", write, loadStore<Store>,
                [](const Node& node) { addStoreReads<Store>(node, lmdb); }};

} // namespace Varnix::Bench

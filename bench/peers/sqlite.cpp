#include "bench/peers/byteStore.h"

#include <cstring>
#include <memory>
#include <stdexcept>

#include <sqlite3.h>

namespace Varnix::Bench {

namespace {

using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

/** A table of keys and blobs, and the prepared query that reads it. */
class Store
{
public:
    explicit Store(const std::string& path)
    {
        require(sqlite3_open(path.c_str(), &m_db));
        run("PRAGMA locking_mode = EXCLUSIVE"); // else every read locks the file
    }
    ~Store()
    {
        m_query.reset();
        sqlite3_close(m_db);
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    void fill(const Parameters& parameters)
    {
        run("CREATE TABLE p (key TEXT PRIMARY KEY, value BLOB) WITHOUT ROWID");
        run("BEGIN");
        const Statement insert = prepare("INSERT INTO p VALUES (?, ?)");
        for (std::size_t i = 0; i < parameters.count; ++i) {
            const std::string key = keyOf(i);
            const std::string bytes = bytesOf(parameters.value, i);
            bind(insert.get(), key);
            sqlite3_bind_blob(insert.get(), 2, bytes.data(), static_cast<int>(bytes.size()),
                              SQLITE_STATIC);
            if (sqlite3_step(insert.get()) != SQLITE_DONE)
                throw std::runtime_error(sqlite3_errmsg(m_db));
            sqlite3_reset(insert.get());
        }
        run("COMMIT");
    }

    void walk()
    {
        const Statement all = prepare("SELECT key, value FROM p");
        while (sqlite3_step(all.get()) == SQLITE_ROW)
            sqlite3_column_blob(all.get(), 1);
        require(sqlite3_reset(all.get()));
    }

    unsigned read(const std::string& key, std::vector<unsigned char>& output)
    {
        if (!m_query)
            m_query = prepare("SELECT value FROM p WHERE key = ?");
        bind(m_query.get(), key);
        if (sqlite3_step(m_query.get()) != SQLITE_ROW)
            std::abort();
        std::memcpy(output.data(), sqlite3_column_blob(m_query.get(), 0),
                    static_cast<std::size_t>(sqlite3_column_bytes(m_query.get(), 0)));
        sqlite3_reset(m_query.get());
        return output.front();
    }

private:
    void require(int result) const
    {
        if (result != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(m_db));
    }
    void run(const char* sql) { require(sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr)); }
    Statement prepare(const char* sql)
    {
        sqlite3_stmt* statement = nullptr;
        require(sqlite3_prepare_v2(m_db, sql, -1, &statement, nullptr));
        return {statement, sqlite3_finalize};
    }
    static void bind(sqlite3_stmt* statement, const std::string& key)
    {
        sqlite3_bind_text(statement, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    }

    sqlite3* m_db = nullptr;
    Statement m_query{nullptr, sqlite3_finalize};
};

void write(const std::string& path, const Parameters& parameters)
{
    Store(path).fill(parameters);
}

} // namespace

const Peer sqlite{"SQLite", write, loadStore<Store>,
                  [](const Node& node) { addStoreReads<Store>(node, sqlite); }};

} // namespace Varnix::Bench

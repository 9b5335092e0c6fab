#include "bench/reads.h"

#include <cdb.h>

#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace Varnix::Bench {

namespace {

unsigned sizeOf(const std::string& text)
{
    return static_cast<unsigned>(text.size());
}

/** A constant database in a mapped file. */
class Store
{
public:
    Store(const std::string& path, const Value& value)
        : m_fd(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600))
    {
        cdb_make make{};
        bool good = m_fd >= 0 && cdb_make_start(&make, m_fd) == 0;
        for (std::size_t i = 0; good && i < keyCount; ++i) {
            const std::string key = keyOf(i);
            const std::string bytes = bytesOf(value, i);
            good = cdb_make_add(&make, key.data(), sizeOf(key), bytes.data(), sizeOf(bytes)) == 0;
        }
        if (!good || cdb_make_finish(&make) != 0 || cdb_init(&m_cdb, m_fd) != 0)
            throw std::runtime_error("no constant database");
    }
    ~Store()
    {
        cdb_free(&m_cdb);
        ::close(m_fd);
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    unsigned read(const std::string& key, std::vector<unsigned char>& output)
    {
        if (cdb_find(&m_cdb, key.data(), sizeOf(key)) <= 0 ||
            cdb_read(&m_cdb, output.data(), cdb_datalen(&m_cdb), cdb_datapos(&m_cdb)) != 0)
            std::abort();
        return output.front();
    }

private:
    int m_fd;
    cdb m_cdb{};
};

} // namespace

void addTinyCdb(const Node& node)
{
    for (const Value& value : commonValues) {
        const auto store =
            std::make_shared<Store>(node.folder() / (std::string(value.name) + ".cdb"), value);
        addReads(std::string(value.name) + "/tinycdb", shuffledKeys(), [store, size = value.size] {
            return [store, output = std::vector<unsigned char>(size)](
                       const std::string& key) mutable { return store->read(key, output); };
        });
    }
}

} // namespace Varnix::Bench

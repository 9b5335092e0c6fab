#include "bench/peers/byteStore.h"
#include "src/fileDescriptor.h"

#include <stdexcept>

#include <cdb.h>
#include <fcntl.h>
#include <unistd.h>

namespace Varnix::Bench {

namespace {

unsigned sizeOf(const std::string& text)
{
    return static_cast<unsigned>(text.size());
}

void write(const std::string& path, const Parameters& parameters)
{
    const Backend::FileDescriptor fd(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    cdb_make make{};
    bool good = fd.isOpen() && cdb_make_start(&make, fd.get()) == 0;
    for (std::size_t i = 0; good && i < parameters.count; ++i) {
        const std::string key = keyOf(i);
        const std::string bytes = bytesOf(parameters.value, i);
        good = cdb_make_add(&make, key.data(), sizeOf(key), bytes.data(), sizeOf(bytes)) == 0;
    }
    if (!good || cdb_make_finish(&make) != 0)
        throw std::runtime_error("cannot write " + path);
}

/** A constant database in a mapped file. */
class Store
{
public:
    explicit Store(const std::string& path) : m_fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        if (!m_fd.isOpen() || cdb_init(&m_cdb, m_fd.get()) != 0)
            throw std::runtime_error("cannot load " + path);
    }
    ~Store() { cdb_free(&m_cdb); }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    void walk()
    {
        unsigned position = 0;
        cdb_seqinit(&position, &m_cdb);
        int result = 1;
        while (result > 0)
            result = cdb_seqnext(&position, &m_cdb);
        if (result < 0)
            throw std::runtime_error("not a constant database");
    }

    unsigned read(const std::string& key, std::vector<unsigned char>& output)
    {
        if (cdb_find(&m_cdb, key.data(), sizeOf(key)) <= 0 ||
            cdb_read(&m_cdb, output.data(), cdb_datalen(&m_cdb), cdb_datapos(&m_cdb)) != 0)
            std::abort();
        return output.front();
    }

private:
    Backend::FileDescriptor m_fd;
    cdb m_cdb{};
};

} // namespace

const Peer tinyCdb{"tinycdb", write, loadStore<Store>,
                   [](const Node& node) { addStoreReads<Store>(node, tinyCdb); }};

} // namespace Varnix::Bench

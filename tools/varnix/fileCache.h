#ifndef VARNIX_TOOL_FILECACHE_H
#define VARNIX_TOOL_FILECACHE_H

#include "databaseFile.h"

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Varnix::Tool {

/**
 * Reads regular files and judges equal ones once. It keeps what was judged last, up to a size, so
 * that it does not grow with the number of files. Any number of threads may read.
 */
class FileCache
{
public:
    static constexpr std::size_t maxFileSize = std::size_t{256} << 20;
    static constexpr std::size_t defaultSize = std::size_t{64} << 20;

    /** `size`: of the files' bytes that are kept. */
    explicit FileCache(Judgement judgement, std::size_t size = defaultSize);

    DatabaseFile read(const std::string& path);

    const Judgement& judgement() const noexcept { return m_judgement; }

private:
    using Content = std::shared_ptr<const FileContent>;

    struct Entry
    {
        std::string image;
        Content content;
    };

    static std::size_t sizeOf(const Entry& entry) noexcept;

    Content judged(std::string image);
    /** Null where it is not kept. */
    Content find(std::string_view image);
    void keep(Entry entry);

    const Judgement m_judgement;
    const std::size_t m_size;

    std::mutex m_mutex;
    // What follows is guarded by m_mutex.
    std::list<Entry> m_entries; ///< the one used last is first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> m_byImage;
    std::size_t m_kept = 0;
};

} // namespace Varnix::Tool

#endif

#include "fileCache.h"

#include "dbfile/shown.h"
#include "regularFile.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Varnix::Tool {

namespace {

using Backend::ReadResult;

std::string whyNot(ReadResult result, const std::string& path, int error)
{
    if (result == ReadResult::NOT_OPENED)
        return "cannot open " + DbFile::shown(path) + ": " + std::system_category().message(error);
    return "cannot read " + DbFile::shown(path) + ": " +
           (result == ReadResult::TOO_LARGE ? "it is too large" : "it is not a regular file");
}

/** A small file counts as so many bytes, since what is made of it takes more than its own. */
constexpr std::size_t leastSize = 4096;

} // namespace

FileCache::FileCache(Judgement judgement, std::size_t size)
    : m_judgement(std::move(judgement)), m_size(size)
{
}

DatabaseFile FileCache::read(const std::string& path)
{
    std::string image;
    const ReadResult result = Backend::readRegularFile(path, maxFileSize, image);
    if (result != ReadResult::READ)
        return {nullptr, whyNot(result, path, errno)};
    return named(path, judged(std::move(image)));
}

FileCache::Content FileCache::judged(std::string image)
{
    if (Content content = find(image))
        return content;
    auto content = std::make_shared<const FileContent>(image, m_judgement);
    if (image.size() <= m_size)
        keep({std::move(image), content});
    return content;
}

FileCache::Content FileCache::find(std::string_view image)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_byImage.find(image);
    if (found == m_byImage.end())
        return nullptr;
    m_entries.splice(m_entries.begin(), m_entries, found->second);
    return found->second->content;
}

std::size_t FileCache::sizeOf(const Entry& entry) noexcept
{
    return std::max(entry.image.size(), leastSize);
}

void FileCache::keep(Entry entry)
{
    const std::lock_guard lock(m_mutex);
    if (m_byImage.contains(entry.image))
        return; // another thread was faster
    m_kept += sizeOf(entry);
    m_entries.push_front(std::move(entry));
    m_byImage.emplace(m_entries.front().image, m_entries.begin());
    while (m_kept > m_size) {
        m_kept -= sizeOf(m_entries.back());
        m_byImage.erase(m_entries.back().image);
        m_entries.pop_back();
    }
}

} // namespace Varnix::Tool

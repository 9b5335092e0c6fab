#include "dbfile/directory.h"

#include <memory>

#include <dirent.h>

namespace Varnix::DbFile {

namespace {

struct CloseDirectory
{
    void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};

} // namespace

// Without the standard library's iterator, which ends the process when memory runs out.
std::vector<std::string> namesIn(const std::filesystem::path& directory)
{
    const std::unique_ptr<DIR, CloseDirectory> listing(::opendir(directory.c_str()));
    std::vector<std::string> names;
    if (listing)
        while (const dirent* const entry = ::readdir(listing.get()))
            names.emplace_back(entry->d_name);
    return names;
}

} // namespace Varnix::DbFile

#ifndef VARNIX_DBFILE_DIRECTORY_H
#define VARNIX_DBFILE_DIRECTORY_H

#include <filesystem>
#include <string>
#include <vector>

namespace Varnix::DbFile {

/** The names in a directory; none where it cannot be read. */
std::vector<std::string> namesIn(const std::filesystem::path& directory);

} // namespace Varnix::DbFile

#endif

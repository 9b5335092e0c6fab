#ifndef VARNIX_DBFILE_FILEIO_H
#define VARNIX_DBFILE_FILEIO_H

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Varnix::DbFile {

/** A file that cannot be opened, read or written; the text names it and says why. */
class FileError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/**
 * The content of a regular file, a pipe or a block device. Directories and character devices, which
 * have no end to read to, are a FileError like everything that fails.
 */
std::string readWholeFile(const std::string& path);

/**
 * Makes `content` the content of the file at `path`, whole or not at all.
 *
 * A temporary file beside it is written, flushed and renamed over it, and the directory flushed. On
 * FileError the old file is as it was and the temporary one is gone; signals that end the process
 * wait until then. What a killed process left in the directory is removed. A symbolic link is
 * followed, also to a file that does not exist yet; what exists and is not a regular file is
 * refused. A file that exists keeps its mode and owner, or FileError; a new one has the mode that
 * the umask leaves.
 */
void replaceFile(const std::string& path, std::string_view content);

/** The same with content that comes in pieces; an empty one is the end. It may throw. */
void replaceFile(const std::string& path, const std::function<std::string()>& next);

} // namespace Varnix::DbFile

#endif

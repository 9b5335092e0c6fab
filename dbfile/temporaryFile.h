#ifndef VARNIX_DBFILE_TEMPORARYFILE_H
#define VARNIX_DBFILE_TEMPORARYFILE_H

#include "dbfile/descriptor.h"

#include <filesystem>
#include <string_view>

#include <sys/types.h>

namespace Varnix::DbFile {

/**
 * A new file in a directory, removed with this object unless it takes another file's place.
 *
 * It stays locked as long as this object lives, so that one that is not locked was left behind by a
 * process that ended. Functions return 0 or the errno of what failed.
 */
class TemporaryFile
{
public:
    TemporaryFile() = default;
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /** Its permissions are those of `mode` that the umask leaves. */
    int create(const std::filesystem::path& directory, mode_t mode);

    int setOwner(uid_t user, gid_t group, mode_t mode) const noexcept;

    /** Adds to what was written. */
    int write(std::string_view content);

    /** Everything is on the disk; nothing can be written afterwards. */
    int flush();

    int rename(const std::filesystem::path& target);

private:
    int createAs(const std::filesystem::path& path, mode_t mode);
    void remove() noexcept;

    std::filesystem::path m_path;
    Descriptor m_file{-1};
    /** The same open file: the lock goes when both are closed. */
    Descriptor m_lock{-1};
};

/** Removes the temporary files that processes left in a directory when they were killed. */
void removeLeftTemporaryFiles(const std::filesystem::path& directory);

} // namespace Varnix::DbFile

#endif

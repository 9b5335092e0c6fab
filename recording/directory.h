#ifndef VARNIX_RECORDING_DIRECTORY_H
#define VARNIX_RECORDING_DIRECTORY_H

#include "dbfile/descriptor.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace Varnix::Recording {

/**
 * A temporary directory that carries a recording's name and goes with the object. It is locked, so
 * that one whose owner died is known from one in use.
 */
class Directory
{
public:
    explicit Directory(std::string_view prefix);
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    const std::filesystem::path& path() const noexcept { return m_path; }
    std::string name() const { return m_path.filename(); }

private:
    std::filesystem::path m_path;
    DbFile::Descriptor m_lock;
};

/**
 * Whether the directory has the name of a recording that begins with `prefix`, and is what a dead
 * process of this user left or is there no more.
 */
bool isOrphan(const std::filesystem::path& directory, std::string_view prefix);

/** Removes the temporary directories that dead processes of this user left, if isOrphan(). */
void removeOrphans(std::string_view prefix);

} // namespace Varnix::Recording

#endif

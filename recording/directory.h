#ifndef VARNIX_RECORDING_DIRECTORY_H
#define VARNIX_RECORDING_DIRECTORY_H

#include "dbfile/descriptor.h"

#include <filesystem>
#include <functional>
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
 * Removes what dead processes of this user left of the directories whose names begin with `prefix`,
 * each after `first` was called with its name.
 */
void removeOrphans(std::string_view prefix, const std::function<void(const std::string&)>& first);

} // namespace Varnix::Recording

#endif

#ifndef VARNIX_TESTS_FUZZ_MEMORYFILE_H
#define VARNIX_TESTS_FUZZ_MEMORYFILE_H

#include "dbfile/descriptor.h"

#include <string>
#include <string_view>

namespace Varnix::Fuzz {

/** A file in memory, for code that opens files by path. */
class MemoryFile
{
public:
    MemoryFile();

    /** Makes `content` the whole content. */
    void write(std::string_view content);

    const std::string& path() const noexcept { return m_path; }

    /** Its offset is after the content. */
    int descriptor() const noexcept { return m_file.get(); }

private:
    DbFile::Descriptor m_file;
    std::string m_path;
};

} // namespace Varnix::Fuzz

#endif

#include "memoryFile.h"

#include "target.h"

#include <sys/mman.h>
#include <unistd.h>

namespace Varnix::Fuzz {

MemoryFile::MemoryFile()
    : m_file(::memfd_create("fuzz", MFD_CLOEXEC)),
      m_path("/proc/self/fd/" + std::to_string(m_file.get()))
{
    require(m_file.isOpen(), "a file in memory can be made");
}

void MemoryFile::write(std::string_view content)
{
    const bool written = ::ftruncate(m_file.get(), 0) == 0 &&
                         ::lseek(m_file.get(), 0, SEEK_SET) == 0 &&
                         ::write(m_file.get(), content.data(), content.size()) ==
                             static_cast<ssize_t>(content.size());
    require(written, "a file in memory can be written");
}

} // namespace Varnix::Fuzz

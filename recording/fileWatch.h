#ifndef VARNIX_RECORDING_FILEWATCH_H
#define VARNIX_RECORDING_FILEWATCH_H

#include "dbfile/descriptor.h"

#include <filesystem>

namespace Varnix::Recording {

/** Tells when something is written anywhere below a directory, also below those made later. */
class FileWatch
{
public:
    explicit FileWatch(std::filesystem::path directory);

    /** Readable when something was written since the last acknowledge(). */
    int fd() const noexcept { return m_events.get(); }
    void acknowledge();

private:
    void watchAll();

    std::filesystem::path m_directory;
    DbFile::Descriptor m_events;
};

} // namespace Varnix::Recording

#endif

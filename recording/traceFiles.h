#ifndef VARNIX_RECORDING_TRACEFILES_H
#define VARNIX_RECORDING_TRACEFILES_H

#include "recording/record.h"

#include <cstddef>
#include <filesystem>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Varnix::Recording {

/** Reads what a session has written below a directory, each record once. */
class TraceFiles
{
public:
    explicit TraceFiles(std::filesystem::path directory) : m_directory(std::move(directory)) {}

    /**
     * The records that were not taken before, oldest first. Throws Failure, with nothing taken,
     * also where a file is being begun meanwhile.
     */
    std::vector<Record> take();

    /** How many records were taken: what the next call has to read again. */
    std::size_t taken() const noexcept { return m_taken.size(); }

    /** From now on reads another directory, to which these files were moved. */
    void moved(std::filesystem::path directory) { m_directory = std::move(directory); }

private:
    std::filesystem::path m_directory;
    std::unordered_set<std::size_t>
        m_taken; ///< hashes of lines: a time and a processor are in each
};

/** Throws Failure where files could not be read. */
void requireReader();

} // namespace Varnix::Recording

#endif

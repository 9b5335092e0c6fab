#ifndef VARNIX_RECORDING_TRACEFILES_H
#define VARNIX_RECORDING_TRACEFILES_H

#include "recording/record.h"

#include <cstddef>
#include <filesystem>
#include <string_view>
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
     * The records that were not taken before, oldest first. Those of another form than Record's are
     * left out: another program can have a provider of the same name. Throws Failure, with nothing
     * taken, also where a file is being begun meanwhile.
     */
    std::vector<Record> take();

    /** How many records were taken: what the next call has to read again. */
    std::size_t taken() const noexcept { return m_taken.size(); }

    /** How many records were left out since the construction. */
    std::size_t leftOut() const noexcept { return m_leftOut; }

    /** From now on reads another directory, to which these files were moved. */
    void moved(std::filesystem::path directory) { m_directory = std::move(directory); }

    /** From now on reads another directory, with other files. */
    void begin(std::filesystem::path directory);

private:
    void add(std::string_view line, std::vector<Record>& records);

    std::filesystem::path m_directory;
    std::size_t m_leftOut = 0;
    std::unordered_set<std::size_t>
        m_taken; ///< hashes of lines: a time and a processor are in each
};

/** Throws Failure where files could not be read. */
void requireReader();

} // namespace Varnix::Recording

#endif

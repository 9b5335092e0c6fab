#include "recording/traceFiles.h"

#include "recording/program.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace Varnix::Recording {

namespace {

namespace fs = std::filesystem;

bool holdsATrace(const fs::path& directory)
{
    std::error_code ignored; // directories come and go meanwhile
    for (fs::recursive_directory_iterator entry(directory, ignored), end; !ignored && entry != end;
         entry.increment(ignored))
        if (entry->path().filename() == "metadata")
            return true;
    return false;
}

/** The whole trace as babeltrace2 prints it. */
std::string printed(const fs::path& directory)
{
    return outputOf({"babeltrace2", "--names=all", "--fields=loglevel", "--no-delta",
                     "--clock-seconds", directory.string()});
}

} // namespace

std::vector<Record> TraceFiles::take()
{
    std::vector<Record> records;
    if (!holdsATrace(m_directory))
        return records;
    const std::string text = printed(m_directory);
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view line = rest.substr(0, end);
        if (m_taken.insert(std::hash<std::string_view>()(line)).second)
            add(line, records);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return records;
}

void TraceFiles::add(std::string_view line, std::vector<Record>& records)
{
    try {
        records.push_back(parseRecord(line));
    } catch (const std::runtime_error&) {
        ++m_leftOut;
    }
}

void TraceFiles::begin(std::filesystem::path directory)
{
    m_directory = std::move(directory);
    m_taken.clear();
}

void requireReader()
{
    outputOf({"babeltrace2", "--version"});
}

} // namespace Varnix::Recording

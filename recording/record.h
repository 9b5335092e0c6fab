#ifndef VARNIX_RECORDING_RECORD_H
#define VARNIX_RECORDING_RECORD_H

#include <chrono>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace Varnix::Recording {

/** One event as the tracing tools deliver it. */
struct Record
{
    std::chrono::sys_time<std::chrono::nanoseconds> time;
    std::string provider;
    std::string event; ///< without the provider's name
    int level = 0;     ///< LTTng's number: 3 for TRACE_ERR, 6 for TRACE_INFO
    pid_t vpid = 0;
    std::string command; ///< the process's name, at most 15 bytes

    /** Name and value of every field, in recorded order; a sequence is one field, its bytes. */
    std::vector<std::pair<std::string, std::string>> fields;

    std::string file;
    unsigned int line = 0;
    std::string obj; ///< empty for events without one
    std::string msg;

    /** The value of the named field; throws std::out_of_range when there is none. */
    const std::string& field(std::string_view name) const;
};

std::ostream& operator<<(std::ostream& stream, const Record& record);

/**
 * Reads one line of what TraceFiles has babeltrace2 print. Its strings are escaped, so that a
 * message can hold any character; only an empty one babeltrace2 2.0.4 may show as the text that
 * another record had. Throws std::runtime_error for what is not such a line.
 */
Record parseRecord(std::string_view line);

} // namespace Varnix::Recording

#endif

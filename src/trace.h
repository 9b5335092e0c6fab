#ifndef VARNIX_TRACE_H
#define VARNIX_TRACE_H

#ifndef LTTNG_UST_TRACEPOINT_HIDDEN_DEFINITION
#define LTTNG_UST_TRACEPOINT_HIDDEN_DEFINITION
#endif
#include "traceEvents.h"

#include <locale>
#include <new>
#include <sstream>
#include <string>
#include <string_view>

/**
 * How the library reports: a site names its event and says how the text is composed.
 *
 * Nothing is composed while no session records the event, and a text that cannot be composed for
 * want of memory is dropped: what the library does never depends on who listens.
 */
namespace Varnix::Backend::Trace {

/**
 * The path by which the node's build knows a source. Only the file's name is taken from this build:
 * its directories are whatever the compiler was told to call them.
 */
std::string sourcePath(std::string_view file);

/** @name Records of the site in `path`.
 * @{ */
void emitError(const char* path, unsigned int line, const std::string& message);
void emitInfo(const char* path, unsigned int line, const std::string& message);
void emitTrace1(const char* path, unsigned int line, const std::string& message);
/** @} */

/** Joins the parts as the stream operators print them, numbers plain in every locale. */
template <typename... Parts>
std::string text(const Parts&... parts)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    (stream << ... << parts);
    return stream.str();
}

template <typename Compose>
void emit(void (*record)(const char*, unsigned int, const std::string&), const Compose& compose,
          const char* file, unsigned int line)
{
    try {
        record(sourcePath(file).c_str(), line, compose());
    } catch (const std::bad_alloc&) { // the record is lost, the operation is not
    }
}

template <typename Compose>
inline void error(const Compose& compose, const char* file = __builtin_FILE(),
                  unsigned int line = __builtin_LINE())
{
    if (lttng_ust_tracepoint_enabled(com_quilmar_velsko_varnix, ERROR))
        emit(emitError, compose, file, line);
}

template <typename Compose>
inline void info(const Compose& compose, const char* file = __builtin_FILE(),
                 unsigned int line = __builtin_LINE())
{
    if (lttng_ust_tracepoint_enabled(com_quilmar_velsko_varnix, INFO))
        emit(emitInfo, compose, file, line);
}

template <typename Compose>
inline void trace1(const Compose& compose, const char* file = __builtin_FILE(),
                   unsigned int line = __builtin_LINE())
{
    if (lttng_ust_tracepoint_enabled(com_quilmar_velsko_varnix, TRACE1))
        emit(emitTrace1, compose, file, line);
}

} // namespace Varnix::Backend::Trace

#endif

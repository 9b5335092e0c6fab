#include "trace.h"

#include <tpt.h>

namespace Varnix::Backend::Trace {

std::string sourcePath(std::string_view file)
{
    return std::string("../../git/sw/src/").append(file.substr(file.rfind('/') + 1));
}

void emitError(const char* path, unsigned int line, const std::string& message)
{
    lttng_ust_do_tracepoint(com_quilmar_velsko_varnix, ERROR, tpt_short_fname(path), line,
                            message.c_str());
}

void emitInfo(const char* path, unsigned int line, const std::string& message)
{
    lttng_ust_do_tracepoint(com_quilmar_velsko_varnix, INFO, tpt_short_fname(path), line,
                            message.c_str());
}

void emitTrace1(const char* path, unsigned int line, const std::string& message)
{
    lttng_ust_do_tracepoint(com_quilmar_velsko_varnix, TRACE1, tpt_short_fname(path), line, "-",
                            message.c_str());
}

} // namespace Varnix::Backend::Trace

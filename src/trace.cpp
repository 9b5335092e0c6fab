#include "trace.h"

#include <tpt.h>

namespace Varnix::Backend::Trace {

void emitError(const char* file, unsigned int line, const std::string& message)
{
    lttng_ust_do_tracepoint(com_quilmar_velsko_varnix, ERROR, tpt_short_fname(file), line,
                            message.c_str());
}

void emitInfo(const char* file, unsigned int line, const std::string& message)
{
    lttng_ust_do_tracepoint(com_quilmar_velsko_varnix, INFO, tpt_short_fname(file), line,
                            message.c_str());
}

void emitTrace1(const char* file, unsigned int line, const std::string& message)
{
    lttng_ust_do_tracepoint(com_quilmar_velsko_varnix, TRACE1, tpt_short_fname(file), line, "-",
                            message.c_str());
}

} // namespace Varnix::Backend::Trace

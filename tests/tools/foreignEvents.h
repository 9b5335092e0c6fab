/* An event of the library's provider and name, with a field of a type that the library has not. */
/* clang-format off */
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER com_quilmar_velsko_varnix

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "foreignEvents.h"

#if !defined(VARNIX_TESTS_FOREIGNEVENTS_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define VARNIX_TESTS_FOREIGNEVENTS_H

#include <lttng/tracepoint.h>

LTTNG_UST_TRACEPOINT_EVENT(com_quilmar_velsko_varnix, INFO,
    LTTNG_UST_TP_ARGS(double, line, const char*, msg),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_float(double, line, line)
        lttng_ust_field_string(msg, msg)))

#endif

#include <lttng/tracepoint-event.h>
/* clang-format on */

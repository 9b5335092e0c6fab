/*
 * The trace provider and its 20 events: the library's whole diagnostic interface, each event
 * written once. The argument texts are recorded as the events' signatures, so their blanks are part
 * of them.
 */
/* clang-format off */
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER com_quilmar_velsko_varnix

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "traceEvents.h"

#if !defined(VARNIX_TRACE_EVENTS_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define VARNIX_TRACE_EVENTS_H

#include <stddef.h>

#include <lttng/tracepoint.h>

#ifndef VARNIX_EVENT
#define VARNIX_EVENT(shape, name, level) \
    LTTNG_UST_TRACEPOINT_EVENT_INSTANCE(com_quilmar_velsko_varnix, shape, \
        com_quilmar_velsko_varnix, name, VARNIX_ARGS_##shape) \
    LTTNG_UST_TRACEPOINT_LOGLEVEL(com_quilmar_velsko_varnix, name, LTTNG_UST_TRACEPOINT_LOGLEVEL_##level)

#define VARNIX_ARGS_plain LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, msg)
#define VARNIX_ARGS_object LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg)
#define VARNIX_ARGS_received LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, const char*, msg)
#define VARNIX_ARGS_sent LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, unsigned int, pid, const char*, msg)
#define VARNIX_ARGS_bytes LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg, const char*, data, size_t, datalen)
#define VARNIX_ARGS_stamped LTTNG_UST_TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen)

#define VARNIX_FIELDS_PLACE \
    lttng_ust_field_string(file, file) \
    lttng_ust_field_integer(unsigned int, line, line)
#endif

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_quilmar_velsko_varnix, plain, VARNIX_ARGS_plain,
    LTTNG_UST_TP_FIELDS(
        VARNIX_FIELDS_PLACE
        lttng_ust_field_string(msg, msg)))

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_quilmar_velsko_varnix, object, VARNIX_ARGS_object,
    LTTNG_UST_TP_FIELDS(
        VARNIX_FIELDS_PLACE
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_string(msg, msg)))

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_quilmar_velsko_varnix, received, VARNIX_ARGS_received,
    LTTNG_UST_TP_FIELDS(
        VARNIX_FIELDS_PLACE
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_integer(unsigned int, sig_no, sig_no)
        lttng_ust_field_string(msg, msg)))

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_quilmar_velsko_varnix, sent, VARNIX_ARGS_sent,
    LTTNG_UST_TP_FIELDS(
        VARNIX_FIELDS_PLACE
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_integer(unsigned int, sig_no, sig_no)
        lttng_ust_field_integer(unsigned int, pid, pid)
        lttng_ust_field_string(msg, msg)))

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_quilmar_velsko_varnix, bytes, VARNIX_ARGS_bytes,
    LTTNG_UST_TP_FIELDS(
        VARNIX_FIELDS_PLACE
        lttng_ust_field_string(obj, obj)
        lttng_ust_field_string(msg, msg)
        lttng_ust_field_sequence(char, data, data, size_t, datalen)))

LTTNG_UST_TRACEPOINT_EVENT_CLASS(com_quilmar_velsko_varnix, stamped, VARNIX_ARGS_stamped,
    LTTNG_UST_TP_FIELDS(
        VARNIX_FIELDS_PLACE
        lttng_ust_field_integer(unsigned int, sec, sec)
        lttng_ust_field_integer(unsigned int, usec, usec)
        lttng_ust_field_string(process, process)
        lttng_ust_field_string(msg, msg)
        lttng_ust_field_sequence(char, data, data, size_t, datalen)))

VARNIX_EVENT(plain, ERROR, ERR)
VARNIX_EVENT(plain, INFO, INFO)
VARNIX_EVENT(object, STATE_CHANGE, DEBUG_SYSTEM)
VARNIX_EVENT(object, TRACE1, DEBUG_PROGRAM)
VARNIX_EVENT(object, TRACE2, DEBUG_PROCESS)
VARNIX_EVENT(object, TRACE3, DEBUG_MODULE)
VARNIX_EVENT(object, TRACE4, DEBUG_UNIT)
VARNIX_EVENT(object, TRACE5, DEBUG_FUNCTION)
VARNIX_EVENT(object, TRACE6, DEBUG_LINE)
VARNIX_EVENT(object, TRACE7, DEBUG)
VARNIX_EVENT(received, REC_SIG, DEBUG_SYSTEM)
VARNIX_EVENT(sent, SEND_SIG, DEBUG_SYSTEM)
VARNIX_EVENT(bytes, DATA, DEBUG)
VARNIX_EVENT(stamped, TRACE_UTS1, DEBUG_PROGRAM)
VARNIX_EVENT(stamped, TRACE_UTS2, DEBUG_PROCESS)
VARNIX_EVENT(stamped, TRACE_UTS3, DEBUG_MODULE)
VARNIX_EVENT(stamped, TRACE_UTS4, DEBUG_UNIT)
VARNIX_EVENT(stamped, TRACE_UTS5, DEBUG_FUNCTION)
VARNIX_EVENT(stamped, TRACE_UTS6, DEBUG_LINE)
VARNIX_EVENT(stamped, TRACE_UTS7, DEBUG)

#endif

#include <lttng/tracepoint-event.h>
/* clang-format on */

/* A program with a trace provider of the library's name: reports two events of its own form. */
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "foreignEvents.h"

int main(void)
{
    lttng_ust_tracepoint(com_quilmar_velsko_varnix, INFO, 1.5, "foreign");
    lttng_ust_tracepoint(com_quilmar_velsko_varnix, INFO, 2.5, "foreign");
    return 0;
}

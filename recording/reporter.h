#ifndef VARNIX_RECORDING_REPORTER_H
#define VARNIX_RECORDING_REPORTER_H

/** In a followed process's environment: the abstract name of the socket where it reports. */
#define VARNIX_REPORT_TO "VARNIX_TRACE_REPORT_TO"

#endif

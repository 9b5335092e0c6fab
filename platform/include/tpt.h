#ifndef VARNIX_PLATFORM_TPT_H
#define VARNIX_PLATFORM_TPT_H

/** The node's trace helper library (libtpt.so.0), as Varnix uses it. */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The short form of a source path that a trace record carries. The result lives as long as `path`.
 * Never null for a path that is not.
 */
const char* tpt_short_fname(const char* path);

#ifdef __cplusplus
}
#endif

#endif

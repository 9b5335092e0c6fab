#ifndef VARNIX_EXPORT_H
#define VARNIX_EXPORT_H

/** Marks what libvarnix offers to its clients; everything else is hidden. */
#define VARNIX_EXPORT __attribute__((visibility("default")))

#endif

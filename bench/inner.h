#ifndef VARNIX_BENCH_INNER_H
#define VARNIX_BENCH_INNER_H

#include "bench/node.h"

/** What the public interface does not offer: measured in the library's own objects. */
namespace Varnix::Bench {

void addChecksum();
void addInPlaceWrites(const Node& node);
void addTraceEvents();
void addWriterWaits(const Node& node);

} // namespace Varnix::Bench

#endif

#ifndef VARNIX_TESTS_TRACERECORD_H
#define VARNIX_TESTS_TRACERECORD_H

#include "recording/record.h"

namespace Varnix::Test {

using TraceRecord = Recording::Record;

} // namespace Varnix::Test

#endif

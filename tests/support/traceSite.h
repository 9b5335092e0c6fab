#ifndef VARNIX_TESTS_TRACESITE_H
#define VARNIX_TESTS_TRACESITE_H

#include "tests/support/traceRecord.h"

#include <string>

#include <gmock/gmock.h>

namespace Varnix::Test {

/** The lines of a source that one call takes. */
struct SiteLines
{
    unsigned int first = 0;
    unsigned int last = 0;
};

/**
 * Where the library's source `file` makes the trace call in which `words` stand. Where several
 * calls share them, `nth` counts from 1; throws std::runtime_error when it is 0 then.
 */
SiteLines findTraceSite(const std::string& file, const std::string& words, int nth = 0);

/**
 * Matches a record of `event` with the text `message`, from the trace call of src/`file` in which
 * `words` stand.
 */
testing::Matcher<const TraceRecord&> reportedAt(const std::string& event, const std::string& file,
                                                const std::string& words,
                                                const std::string& message, int nth = 0);

} // namespace Varnix::Test

#endif

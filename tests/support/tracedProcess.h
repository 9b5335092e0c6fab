#ifndef VARNIX_TESTS_TRACEDPROCESS_H
#define VARNIX_TESTS_TRACEDPROCESS_H

#include "tests/support/traceSession.h"
#include "tests/support/waitUntil.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace Varnix::Test {

struct TracedRun
{
    int status = 0; ///< as waitpid() delivers it
    std::vector<TraceRecord> records;
};

/**
 * Runs a program, found as by execvp(), with `environment` added to this process's, and delivers
 * its status and all that it recorded, from its first instruction to its end, however that came.
 * Its standard streams are this process's. Kills it when it takes longer than `limit`.
 */
TracedRun runTraced(const std::vector<std::string>& command,
                    const std::vector<std::pair<std::string, std::string>>& environment = {},
                    std::chrono::seconds limit = patience);

/**
 * For a child that a test starts itself and that lives on: starts the program followed by `session`
 * from its first instruction. The caller waits for it.
 */
pid_t startTraced(TraceSession& session, const std::vector<std::string>& command,
                  const std::vector<std::pair<std::string, std::string>>& environment = {});

} // namespace Varnix::Test

#endif

#ifndef VARNIX_TOOL_COMPLETIONVALUES_H
#define VARNIX_TOOL_COMPLETIONVALUES_H

#include "completion/completion.h"

namespace Varnix::Tool {

/** What a shell may offer for PID, KEY, TYPE and an operator's words. */
std::optional<std::vector<Completion::Candidate>> completionValues(const std::string& kind,
                                                                   const Completion::Line& line);

} // namespace Varnix::Tool

#endif

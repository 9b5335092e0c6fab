#ifndef VARNIX_RECORDING_WAITING_H
#define VARNIX_RECORDING_WAITING_H

#include "shared/waiting.h"

#include <chrono>

namespace Varnix::Recording {

/** How long LTTng may take for one step on a loaded machine. */
inline constexpr std::chrono::seconds longest{120};

/** Waits for what LTTng reports to nobody; returns whether it came to be. */
template <typename Condition>
bool waitFor(const Condition& condition, std::chrono::seconds limit = longest)
{
    return Waiting::waitFor(condition, limit);
}

} // namespace Varnix::Recording

#endif

#include "endSignals.h"

#include "endingSignals.h"

#include <algorithm>
#include <array>
#include <climits>

#include <poll.h>
#include <sys/signalfd.h>

namespace Dbcsi {
namespace {

/* What poll takes to wait for ever, or to ignore a descriptor. */
constexpr int forever = -1;
constexpr int noDescriptor = -1;

int blockedSignals()
{
    const EndingSignals::Blocked blocked = EndingSignals::block();
    return ::signalfd(-1, &blocked.awaited, SFD_CLOEXEC | SFD_NONBLOCK);
}

int millisecondsUntil(const EndSignals::Deadline& deadline)
{
    if (!deadline)
        return forever;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX));
}

} // namespace

EndSignals::EndSignals() : m_fd(blockedSignals(), "signalfd") {}

EndSignals::Wait EndSignals::waitFor(int fd, Deadline deadline) const
{
    std::array<pollfd, 2> watched{{{m_fd.get(), POLLIN, 0}, {fd, POLLIN, 0}}};
    int count = 0;
    do {
        count = ::poll(watched.data(), watched.size(), millisecondsUntil(deadline));
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        throw std::system_error(errno, std::generic_category(), "poll");
    if (watched[0].revents != 0)
        return Wait::ENDED;
    return count == 0 ? Wait::TIMED_OUT : Wait::READY;
}

void EndSignals::wait() const
{
    while (waitFor(noDescriptor) != Wait::ENDED) {
    }
}

} // namespace Dbcsi

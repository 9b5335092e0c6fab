#include "lineSource.h"

#include <array>
#include <cerrno>
#include <utility>

#include <unistd.h>

namespace Dbcsi {

namespace {

/** More than any command takes; what has no lines at all must not fill the memory. */
constexpr std::size_t longestLine = std::size_t{1} << 22U;

} // namespace

std::optional<std::string> PipeSource::next()
{
    std::size_t searched = 0;
    for (;;) {
        const std::size_t end = m_pending.find('\n', searched);
        if (end != std::string::npos) {
            std::string line = m_pending.substr(0, end);
            m_pending.erase(0, end + 1);
            return line;
        }
        searched = m_pending.size();
        if (searched > longestLine) {
            throw InputError("standard input holds a line of more than " +
                             std::to_string(longestLine) + " bytes");
        }
        if (!readMore())
            break;
    }
    if (!m_atEnd || m_pending.empty())
        return std::nullopt;
    return std::exchange(m_pending, {}); // the last line, without a newline
}

bool PipeSource::readMore()
{
    if (m_atEnd || m_endSignals.waitFor(STDIN_FILENO) == EndSignals::Wait::ENDED)
        return false;
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    // Whoever shares the pipe may have left it non-blocking.
    if (count < 0 && errno == EAGAIN)
        return true;
    if (count < 0)
        throw InputError::ofRead(errno);
    m_pending.append(buffer.data(), static_cast<std::size_t>(count));
    m_atEnd = count == 0;
    return !m_atEnd;
}

} // namespace Dbcsi

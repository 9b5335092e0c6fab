#include "retry.h"

#include "report.h"

#include <algorithm>
#include <cstring>

namespace Itc {

namespace {

constexpr std::chrono::milliseconds firstDelay{1};
constexpr std::chrono::milliseconds longestDelay{200};

} // namespace

int Retry::remaining() const noexcept
{
    if (!m_owed)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_next - Clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), longestDelay).count());
}

void Retry::failed(const std::exception& error) noexcept
{
    if (std::strncmp(m_reported.data(), error.what(), m_reported.size() - 1) != 0) {
        reportOwed(nullptr, 0, error);
        std::strncpy(m_reported.data(), error.what(), m_reported.size() - 1);
    }
    if (mayPass(error))
        postpone();
}

void Retry::postpone() noexcept
{
    m_owed = true;
    m_delay = std::clamp(2 * m_delay, firstDelay, longestDelay);
    m_next = Clock::now() + m_delay;
}

void Retry::done() noexcept
{
    m_owed = false;
    m_delay = {};
    m_reported = {};
}

} // namespace Itc

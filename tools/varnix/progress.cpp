#include "progress.h"

#include <iostream>

#include <unistd.h>

namespace Varnix::Tool {

Progress::Progress(std::size_t count) : m_count(count), m_isOn(::isatty(STDERR_FILENO) != 0) {}

void Progress::show(std::size_t done)
{
    constexpr std::chrono::milliseconds interval(100);
    const auto now = std::chrono::steady_clock::now();
    if (!m_isOn || now - m_last < interval)
        return;
    m_last = now;
    m_isShown = true;
    std::cout.flush();
    std::cerr << '\r' << done << " of " << m_count << " nodes" << std::flush;
}

void Progress::clear()
{
    if (m_isShown)
        std::cerr << "\r\033[K" << std::flush;
    m_isShown = false;
}

} // namespace Varnix::Tool

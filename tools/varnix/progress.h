#ifndef VARNIX_TOOL_PROGRESS_H
#define VARNIX_TOOL_PROGRESS_H

#include <chrono>
#include <cstddef>

namespace Varnix::Tool {

/** How many of many things are done, on a terminal's last line; nowhere without a terminal. */
class Progress
{
public:
    explicit Progress(std::size_t count);
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /** Shows it now and then. */
    void show(std::size_t done);

    /** Makes room for a line of output. */
    void clear();

private:
    std::size_t m_count;
    bool m_isOn;
    bool m_isShown = false;
    std::chrono::steady_clock::time_point m_last{};
};

} // namespace Varnix::Tool

#endif

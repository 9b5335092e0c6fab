#ifndef VARNIX_TOOL_TERMINAL_H
#define VARNIX_TOOL_TERMINAL_H

#include "nodeFinding.h"

#include <string>

namespace Varnix::Tool {

enum class Colour
{
    BOLD,
    GREEN,
    YELLOW,
    RED,
};

/** What a finding's severity is printed in. */
Colour colourOf(Severity severity) noexcept;

/** Text in colour where it goes to a terminal whose user has not set NO_COLOR. */
class Painter
{
public:
    /** For what goes to this file descriptor. */
    explicit Painter(int fd);

    std::string paint(Colour colour, const std::string& text) const;

private:
    bool m_isOn;
};

} // namespace Varnix::Tool

#endif

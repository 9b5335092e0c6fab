#include "terminal.h"

#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace Varnix::Tool {

namespace {

/** The value of a variable that is set; empty otherwise. */
std::string_view variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

const char* codeOf(Colour colour) noexcept
{
    switch (colour) {
    case Colour::BOLD:
        return "1";
    case Colour::GREEN:
        return "32";
    case Colour::YELLOW:
        return "33";
    default:
        return "31";
    }
}

} // namespace

Colour colourOf(Severity severity) noexcept
{
    if (severity == Severity::ERROR)
        return Colour::RED;
    return severity == Severity::WARNING ? Colour::YELLOW : Colour::BOLD;
}

Painter::Painter(int fd)
    : m_isOn(::isatty(fd) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb")
{
}

std::string Painter::paint(Colour colour, const std::string& text) const
{
    return m_isOn ? std::string("\033[") + codeOf(colour) + "m" + text + "\033[0m" : text;
}

} // namespace Varnix::Tool

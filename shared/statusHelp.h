#ifndef VARNIX_SHARED_STATUSHELP_H
#define VARNIX_SHARED_STATUSHELP_H

#include <cstddef>
#include <span>
#include <string>

/** What a command ends with. */
namespace StatusHelp {

/** The part of a help text that names the statuses; `meanings` are those of 0, 1, 2 and so on. */
inline std::string text(std::span<const char* const> meanings)
{
    std::string lines = "Exit status:";
    for (std::size_t status = 0; status < meanings.size(); ++status)
        lines.append("\n  ").append(std::to_string(status)).append("  ").append(meanings[status]);
    return lines;
}

} // namespace StatusHelp

#endif

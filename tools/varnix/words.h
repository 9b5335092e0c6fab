#ifndef VARNIX_TOOL_WORDS_H
#define VARNIX_TOOL_WORDS_H

#include <string>
#include <vector>

#include <CLI/App.hpp>

namespace Varnix::Tool {

/** Lets the first word that is no option or its value end the options; wordsOf() has the words. */
inline void addWords(CLI::App& command)
{
    command.prefix_command();
    command.footer(
        "WORD...: what a server is told, as in: db write /unit/gain -i 1 9. The first one "
        "ends the options.");
}

inline std::vector<std::string> wordsOf(const CLI::App& command)
{
    return command.remaining();
}

} // namespace Varnix::Tool

#endif

#ifndef VARNIX_TOOL_WORDS_H
#define VARNIX_TOOL_WORDS_H

#include <span>
#include <string>
#include <vector>

#include <CLI/App.hpp>

namespace Varnix::Tool {

/** Lets the first word that is no option or its value end the options; wordsOf() has the words. */
void addWords(CLI::App& command);

std::vector<std::string> wordsOf(const CLI::App& command);

/**
 * Whether the command line's options ask for one document. An operator's words are not looked at.
 * For use before the line is parsed: a line that cannot be is answered in that form, too.
 */
bool asksForDocument(const CLI::App& app, std::span<const char* const> line);

} // namespace Varnix::Tool

#endif

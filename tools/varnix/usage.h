#ifndef VARNIX_TOOL_USAGE_H
#define VARNIX_TOOL_USAGE_H

#include <span>
#include <string>

namespace CLI {
class App;
class ParseError;
class Validator;
} // namespace CLI

namespace Varnix::Tool {

/** Why the command line is refused: the word that is wrong, with the nearest right one, or else
   what the parser says. */
std::string wrongUsage(const CLI::App& app, const CLI::ParseError& error,
                       std::span<const char* const> line);

/** The check of an option whose value is a number of 1 or more. */
CLI::Validator positiveNumber();

/** The command line that shows the help for what was meant. */
std::string helpFor(const CLI::App& app);

} // namespace Varnix::Tool

#endif

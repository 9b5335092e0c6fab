#ifndef VARNIX_COMPLETION_COMPLETION_H
#define VARNIX_COMPLETION_COMPLETION_H

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <CLI/App.hpp>

/**
 * Completion of command lines. Shells ask the command itself, "varnix complete WORD...", so that
 * what they offer is what the parser takes: subcommands, options and values come from the one
 * description that the parser has.
 */
namespace Varnix::Completion {

/** A word that the last word may become. */
struct Candidate
{
    std::string word;
    std::string description;
};

/** What comes before the word that is completed. */
struct Line
{
    std::multimap<std::string, std::string> options; ///< by the long name, "--pid", with the value
    std::vector<std::string> operands;
    std::size_t words = 0; ///< how many of the operands are an operator's words, the last ones
};

/** The values of a kind, "PID", that the line allows; nothing where the kind has none. */
using Values =
    std::function<std::optional<std::vector<Candidate>>(const std::string& kind, const Line& line)>;

/** Whether the command line is a shell's question: "COMMAND complete WORD...". */
bool isAsked(int argc, const char* const* argv);

/** Answers it on standard output, in lines as the completion files read them. */
void answer(const CLI::App& app, int argc, const char* const* argv, const Values& values);

} // namespace Varnix::Completion

#endif

#include "words.h"

#include <cstddef>
#include <limits>
#include <string_view>

namespace Varnix::Tool {

namespace {

const CLI::App* subcommandOf(const CLI::App& app, std::span<const char* const> line)
{
    if (line.size() < 2)
        return nullptr;
    const auto named = app.get_subcommands(
        [&](const CLI::App* subcommand) { return subcommand->check_name(line[1]); });
    return named.empty() ? nullptr : named.front();
}

/** How many arguments beside options the subcommand takes before an operator's words. */
std::size_t operandsOf(const CLI::App& subcommand)
{
    if (!subcommand.get_prefix_command())
        return std::numeric_limits<std::size_t>::max();
    return subcommand
        .get_options([](const CLI::Option* option) { return option->get_positional(); })
        .size();
}

/** Whether the option's value is the next argument. */
bool takesNext(const CLI::App& subcommand, const std::string& option)
{
    const CLI::Option* const found = subcommand.get_option_no_throw(option);
    return found != nullptr && found->get_items_expected_max() > 0;
}

} // namespace

void addWords(CLI::App& command)
{
    command.prefix_command();
    command.footer(
        "WORD...: what a server is told, as in: db write /unit/gain -i 1 9. The first one "
        "ends the options.");
}

std::vector<std::string> wordsOf(const CLI::App& command)
{
    return command.remaining();
}

bool asksForDocument(const CLI::App& app, std::span<const char* const> line)
{
    const CLI::App* const subcommand = subcommandOf(app, line);
    std::size_t operands =
        subcommand != nullptr ? operandsOf(*subcommand) : std::numeric_limits<std::size_t>::max();
    for (std::size_t i = 1; i < line.size(); ++i) {
        const std::string_view word = line[i];
        if (word == "--json" || word == "--") // what follows is another command's
            return word == "--json";
        if (i > 1 && !word.starts_with('-') && operands-- == 0)
            return false;
        if (subcommand != nullptr && word.starts_with('-') &&
            takesNext(*subcommand, std::string(word)))
            ++i;
    }
    return false;
}

} // namespace Varnix::Tool

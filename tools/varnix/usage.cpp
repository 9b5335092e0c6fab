#include "usage.h"

#include "nearest.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace Varnix::Tool {

namespace {

/** Each name by which an option may be given, with its dashes. */
std::vector<std::string> optionsOf(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_snames())
            names.push_back('-' + name);
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

std::vector<std::string> subcommandsOf(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands({}))
        names.push_back(command->get_name());
    return names;
}

std::string missing(const std::string& kind, std::string_view word,
                    const std::vector<std::string>& right)
{
    return "there is no " + kind + " \"" + std::string(word) + "\"; did you mean \"" +
           std::string(Nearest::candidate(word, right)) + "\"?";
}

bool isOption(std::string_view word)
{
    return word.starts_with('-');
}

} // namespace

std::string wrongUsage(const CLI::App& app, const CLI::ParseError& error,
                       std::span<const char* const> line)
{
    const std::vector<CLI::App*> named = app.get_subcommands();
    const CLI::App& command = named.empty() ? app : *named.front();
    const std::vector<std::string> options = optionsOf(command);
    const bool refusesAWord = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    for (std::string_view word : line.subspan(std::min<std::size_t>(1, line.size()))) {
        if (named.empty() && !isOption(word))
            return missing("subcommand", word, subcommandsOf(app));
        word = word.substr(0, word.find('='));
        if ((named.empty() || refusesAWord) && isOption(word) &&
            std::find(options.begin(), options.end(), word) == options.end())
            return missing(command.get_name() + " option", word, options);
    }
    return error.what();
}

CLI::Validator positiveNumber()
{
    return {[](const std::string& text) {
                return CLI::PositiveNumber(text).empty() ? std::string()
                                                         : text + " is no positive number";
            },
            "POSITIVE"};
}

std::string helpFor(const CLI::App& app)
{
    const std::vector<CLI::App*> named = app.get_subcommands();
    return app.get_name() + (named.empty() ? "" : ' ' + named.front()->get_name()) + " --help";
}

} // namespace Varnix::Tool

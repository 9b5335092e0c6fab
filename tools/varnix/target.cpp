#include "target.h"

#include "usage.h"

#include <utility>

#include <CLI/Validators.hpp>

namespace Varnix::Tool {

CLI::Option* addTarget(CLI::App& command, Target& target)
{
    CLI::Option* const process =
        command.add_option("--pid", target.process, "Look at what this running process reads")
            ->type_name("PID")
            ->check(positiveNumber());
    command
        .add_option("--config", target.config,
                    "With --pid, the database to look at where the process has several")
        ->type_name("CONFIG");
    command
        .add_option("words", target.words,
                    "The component's configuration file, which --pid takes the place of; then "
                    "keys")
        ->type_name("[CONFIG] KEY");
    return process;
}

Target withWords(Target target, const std::string& name)
{
    const bool isClient = target.process == 0;
    if (isClient && target.config)
        throw Failure(Status::WRONG_USAGE, "varnix: --config chooses a database of --pid PID; "
                                           "without it, CONFIG is the first word");
    target.keys = std::move(target.words);
    if (isClient && target.keys.empty())
        throw Failure(Status::WRONG_USAGE,
                      "varnix: CONFIG is required\nTry varnix " + name + " --help.");
    if (isClient) {
        target.config = std::move(target.keys.front());
        target.keys.erase(target.keys.begin());
    }
    return target;
}

} // namespace Varnix::Tool

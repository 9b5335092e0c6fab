#include "command.h"

#include <string>

namespace Varnix::Tool {

void addNodeCommands(CLI::App& app, Status&)
{
    for (const std::string name : {"get", "ps", "trace", "watch", "write"}) {
        CLI::App* const command =
            app.add_subcommand(name, "Not here: this build only judges files");
        command->prefix_command();
        command->callback([name] {
            throw Failure(Status::NODE_UNUSABLE,
                          "varnix: this build was made without the library and only judges files; "
                          "varnix " +
                              name + " needs a build with it");
        });
    }
}

} // namespace Varnix::Tool

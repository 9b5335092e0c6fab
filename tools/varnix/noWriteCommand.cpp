#include "command.h"
#include "words.h"

namespace Varnix::Tool {

/** On a node the words are for its own command line. */
void addWrite(CLI::App& app, Status&)
{
    CLI::App* const command =
        app.add_subcommand("write", "Not here: on a node its own command line writes");
    addWords(*command);
    command->allow_extras();
    command->callback([] {
        throw Failure(Status::NODE_UNUSABLE,
                      "varnix: the subscription server of a node takes words from the node's own "
                      "command line alone; varnix try says what they would do");
    });
}

} // namespace Varnix::Tool

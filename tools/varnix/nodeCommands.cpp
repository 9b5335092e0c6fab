#include "command.h"

namespace Varnix::Tool {

void addNodeCommands(CLI::App& app, Status& status)
{
    for (const auto add : {addGet, addPs, addTrace, addWatch, addWrite})
        add(app, status);
}

} // namespace Varnix::Tool

#ifndef VARNIX_TOOL_TRACEDCOMMAND_H
#define VARNIX_TOOL_TRACEDCOMMAND_H

#include "recording/followed.h"

#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Varnix::Tool {

/** How the command is started. */
struct CommandSetup
{
    std::vector<std::string> words;
    /** Its standard output goes to standard error: a document has the other to itself. */
    bool outputAside = false;
    /** The signals that it shall have blocked. */
    sigset_t blocked{};
};

/** A command that runs while it is traced. It gets SIGTERM when this process dies. */
class TracedCommand
{
public:
    TracedCommand(const CommandSetup& setup, const Recording::Followed& followed);

    void signal(int number) const;

    /** The status of the command once it has ended: 128 and the signal's number after a signal. */
    std::optional<int> status();

private:
    pid_t m_process;
    std::optional<int> m_status;
};

} // namespace Varnix::Tool

#endif

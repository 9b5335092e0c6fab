#ifndef VARNIX_TOOL_COMMAND_H
#define VARNIX_TOOL_COMMAND_H

#include <array>
#include <functional>
#include <stdexcept>
#include <string>

#include <CLI/App.hpp>

namespace Varnix::Tool {

/** The exit statuses of the command. */
enum class Status
{
    DONE = 0,
    NO = 1,
    WRONG_USAGE = 2,
    UNREADABLE = 3,
    INVALID = 4,
    NODE_UNUSABLE = 5,
};

/** What each means, in its order; varnix(1) says more of some. */
inline constexpr std::array statusMeanings{
    "done",
    "the answer is no",
    "wrong usage",
    "a file cannot be opened, read or written",
    "an input is not valid",
    "the node cannot be used",
};

/** Ends a subcommand with a status; the text goes to standard error as it is. */
class Failure : public std::runtime_error
{
public:
    Failure(Status status, const std::string& text) : Failure(status, text, status) {}
    Failure(Status status, const std::string& text, Status cause)
        : std::runtime_error(text), m_status(status), m_cause(cause)
    {
    }

    Status status() const noexcept { return m_status; }
    /** Of a node that cannot be used: whether its files are UNREADABLE or INVALID. */
    Status cause() const noexcept { return m_cause; }

private:
    Status m_status;
    Status m_cause;
};

/**
 * Each adds one subcommand to the command line. When the line names it, parsing the line runs it
 * and stores its status, or throws Failure.
 */
void addBuild(CLI::App& app, Status& status);
void addDump(CLI::App& app, Status& status);
void addDiff(CLI::App& app, Status& status);
void addCheck(CLI::App& app, Status& status);
void addAudit(CLI::App& app, Status& status);
void addGenerate(CLI::App& app, Status& status);
void addExplain(CLI::App& app, Status& status);
void addInstall(CLI::App& app, Status& status);
void addTry(CLI::App& app, Status& status);
/** All those that need the library; a build without it has them say so. */
void addNodeCommands(CLI::App& app, Status& status);
void addGet(CLI::App& app, Status& status);
void addPs(CLI::App& app, Status& status);
void addTrace(CLI::App& app, Status& status);
void addWrite(CLI::App& app, Status& status);
void addWatch(CLI::App& app, Status& status);

} // namespace Varnix::Tool

#endif

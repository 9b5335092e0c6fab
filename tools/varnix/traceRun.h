#ifndef VARNIX_TOOL_TRACERUN_H
#define VARNIX_TOOL_TRACERUN_H

#include "recording/fileWatch.h"
#include "recording/followed.h"
#include "recording/session.h"
#include "recording/traceFiles.h"
#include "tracePrinter.h"
#include "tracedCommand.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Varnix::Tool {

struct TraceOptions
{
    bool json = false;
    bool errors = false;
    std::vector<std::string> command;
};

/** Blocks the signals that end a recording, and hands them out. */
class EndSignals
{
public:
    EndSignals();

    int fd() const noexcept { return m_fd.get(); }
    const sigset_t& blockedBefore() const noexcept { return m_before; }

    struct Signal
    {
        int number;
        bool isFromTerminal;
    };
    std::optional<Signal> next() const;

private:
    sigset_t m_before{};
    DbFile::Descriptor m_fd;
};

/** Records and prints until the command or a signal ends it. Throws Recording::Failure. */
class TraceRun
{
public:
    TraceRun(const TraceOptions& options, const EndSignals& signals, TracePrinter& printer);

    /** Returns the command's status; 0 without one. */
    int run(const TraceOptions& options);

private:
    using Clock = std::chrono::steady_clock;

    void wait();
    void handleSignals();
    void printNew();
    void rotate();
    void printRest();

    const EndSignals& m_signals;
    TracePrinter& m_printer;
    Recording::Session m_session;
    Recording::FileWatch m_watch;
    Recording::TraceFiles m_files;
    std::optional<Recording::Followed> m_followed;
    std::optional<TracedCommand> m_command;
    std::optional<Clock::time_point> m_readAt; ///< when there is something to read
    int m_failures = 0;
    bool m_isOver = false;
};

} // namespace Varnix::Tool

#endif

#include "traceRun.h"

#include "endingSignals.h"
#include "recording/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace Varnix::Tool {

namespace {

using Recording::require;
using std::chrono::milliseconds;

/** An event is in the files after this many microseconds. */
constexpr unsigned writtenAfter = 50000;
/** What several processors' buffers write is read together, which keeps the order of time. */
constexpr milliseconds gathering{10};
/** A read that meets a file that is just begun is tried again after this time, so many times. */
constexpr milliseconds retryAfter{100};
constexpr int mostFailures = 100;
/** What was printed is thrown away after so many events, so that reading stays cheap. */
constexpr std::size_t mostInOnePart = 5000;

Recording::Settings settingsFor(const TraceOptions& options)
{
    Recording::Settings settings;
    settings.prefix = "varnix-trace-";
    settings.events = options.errors ? Recording::Events::WRONG : Recording::Events::ALL;
    settings.processes =
        options.command.empty() ? Recording::Processes::ALL : Recording::Processes::FOLLOWED;
    settings.writtenAfter = writtenAfter;
    return settings;
}

} // namespace

EndSignals::EndSignals() : m_fd(-1)
{
    const EndingSignals::Blocked blocked = EndingSignals::block();
    m_before = blocked.before;
    sigset_t signals = blocked.awaited;
    ::sigaddset(&signals, SIGCHLD);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    static_cast<void>(
        ::signal(SIGPIPE, SIG_IGN)); // what is left of the recording is cleared away first
    m_fd = DbFile::Descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    require(m_fd.isOpen(), "signalfd");
}

std::optional<EndSignals::Signal> EndSignals::next() const
{
    signalfd_siginfo info{};
    if (::read(m_fd.get(), &info, sizeof info) != sizeof info)
        return std::nullopt;
    return Signal{static_cast<int>(info.ssi_signo), info.ssi_code == SI_KERNEL};
}

TraceRun::TraceRun(const TraceOptions& options, const EndSignals& signals, TracePrinter& printer)
    : m_signals(signals), m_printer(printer), m_session(settingsFor(options)),
      m_watch(m_session.files()), m_files(m_session.files())
{
    if (!options.command.empty())
        m_followed.emplace();
}

int TraceRun::run(const TraceOptions& options)
{
    if (m_followed)
        m_command.emplace(CommandSetup{options.command, options.json, m_signals.blockedBefore()},
                          *m_followed);
    else
        std::cerr << "varnix: recording; Ctrl-C ends it\n";
    while (!m_isOver) {
        wait();
        if (m_readAt && *m_readAt <= Clock::now())
            printNew();
        m_isOver = m_isOver || !std::cout || (m_command && m_command->status());
    }
    printRest();
    return m_command ? m_command->status().value_or(0) : 0;
}

void TraceRun::wait()
{
    std::array<pollfd, 4> sources{pollfd{m_signals.fd(), POLLIN, 0},
                                  {m_watch.fd(), POLLIN, 0},
                                  {STDOUT_FILENO, 0, 0},
                                  {m_followed ? m_followed->fd() : -1, POLLIN, 0}};
    int limit = -1;
    if (m_readAt) {
        const auto left = std::chrono::ceil<milliseconds>(*m_readAt - Clock::now());
        limit = static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
    }
    require(::poll(sources.data(), sources.size(), limit) >= 0 || errno == EINTR, "poll");
    if ((sources[3].revents & POLLIN) != 0)
        m_followed->admit([&](pid_t process) { m_session.follow(process); });
    if ((sources[0].revents & POLLIN) != 0)
        handleSignals();
    if ((sources[1].revents & POLLIN) != 0) {
        m_watch.acknowledge();
        if (!m_readAt)
            m_readAt = Clock::now() + gathering;
    }
    // Nobody reads any more; a command runs on to its own end.
    if ((sources[2].revents & POLLERR) != 0 && !m_command)
        m_isOver = true;
}

void TraceRun::handleSignals()
{
    while (const auto signal = m_signals.next()) {
        if (signal->number == SIGCHLD)
            continue;
        if (!m_command)
            m_isOver = true;
        else if (!signal->isFromTerminal) // the terminal's went to the command too
            m_command->signal(signal->number);
    }
}

void TraceRun::printNew()
{
    m_readAt.reset();
    try {
        m_printer.print(m_files.take());
        m_failures = 0;
    } catch (const Recording::Failure&) {
        if (++m_failures > mostFailures)
            throw;
        m_readAt = Clock::now() + retryAfter;
    }
    if (m_files.taken() > mostInOnePart)
        rotate();
}

void TraceRun::rotate()
{
    const std::filesystem::path part = m_session.rotate();
    m_files.moved(part);
    m_printer.print(m_files.take());
    std::error_code ignored;
    std::filesystem::remove_all(part, ignored);
    m_files.begin(m_session.files());
    m_readAt = Clock::now();
}

void TraceRun::printRest()
{
    m_session.stop();
    m_printer.print(m_files.take());
    if (const std::uint64_t lost = m_session.discarded(); lost > 0)
        std::cerr << "varnix: " << lost << " events came too fast and were lost\n";
    if (m_files.leftOut() > 0)
        std::cerr << "varnix: " << m_files.leftOut()
                  << " events have a form that this release does not know and were left out\n";
}

} // namespace Varnix::Tool

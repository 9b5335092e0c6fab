#include "complain.h"
#include "completion/completion.h"
#include "decimal.h"
#include "endSignals.h"
#include "exitStatus.h"
#include "journalFile.h"
#include "lineSource.h"
#include "mailbox.h"
#include "operator.h"
#include "server.h"
#include "settings.h"
#include "statusHelp.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace Dbcsi;

struct Options
{
    Settings settings;
    bool stay = false;
};

std::string footer()
{
    return std::string("Operator commands, one a line on standard input:\n") + Operator::help() +
           '\n' + StatusHelp::text(exitStatusMeanings);
}

std::unique_ptr<LineSource> lineSource(bool atTerminal, const EndSignals& endSignals)
{
    if (atTerminal)
        return std::make_unique<TerminalSource>(endSignals);
    return std::make_unique<PipeSource>(endSignals);
}

/** Before anything is opened and takes the number of an input that is closed. */
void refuseClosedInput()
{
    if (::fcntl(STDIN_FILENO, F_GETFD) < 0)
        throw InputError::ofRead(errno);
}

/** A subscriber takes four descriptors; the usual limit is for programs that use select(). */
void raiseDescriptorLimit()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    static_cast<void>(::setrlimit(RLIMIT_NOFILE, &limit));
}

/** Serves until the operator, the end of input or a signal ends it. */
ExitStatus serve(const Options& options)
{
    refuseClosedInput();
    raiseDescriptorLimit();
    // A file-size limit is an error of the write that meets it, not the server's end.
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    const EndSignals endSignals;
    // One mailbox for the server, one for this thread, which speaks for the operator.
    if (!Mailbox::initialise(2) ||
        Mailbox::create(("dbcsiOperator" + std::to_string(::getpid())).c_str()) == ITC_NO_MBOX_ID)
        throw ServerError(
            "mailboxes cannot be used here; VARNIX_ITC_DIR may name another directory");
    Server server(options.settings);
    Operator console(server, endSignals);

    const bool atTerminal = ::isatty(STDIN_FILENO) == 1;
    const std::unique_ptr<LineSource> lines = lineSource(atTerminal, endSignals);
    bool quit = false;
    while (!quit) {
        const std::optional<std::string> line = lines->next();
        if (!line)
            break;
        quit = !console.execute(*line);
    }
    if (options.stay && !quit)
        endSignals.wait();
    return atTerminal ? ExitStatus::DONE : console.status();
}

std::uint64_t bytes(const std::string& text)
{
    if (const auto number = Decimal::number<std::uint64_t>(text))
        return *number;
    throw CLI::ValidationError(
        "--queue-limit", '"' + text + "\" is no number of bytes in decimal digits, or too large");
}

void addOptions(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", DBCSI_SERVER_VERSION);
    Settings& settings = options.settings;
    app.add_flag("--reject-connection", settings.rejectConnection, "Refuse every connection");
    app.add_flag("--reject-subscription", settings.rejectSubscription, "Refuse every subscription");
    // Not as a number: the parser takes -1 for the largest, and 010 for 8.
    app.add_option_function<std::string>(
           "--queue-limit",
           [&settings](const std::string& text) { settings.queueLimit = bytes(text); },
           "Drop a subscriber for which more BYTES wait")
        ->type_name("BYTES")
        ->default_str(std::to_string(settings.queueLimit));
    auto* const journal =
        app.add_option("--journal", settings.journal,
                       "Append every write to FILE before it is sent")
            ->type_name("FILE")
            ->check([](const std::string& name) { return name.empty() ? "no file's name" : ""; });
    app.add_flag("--replay", settings.replay,
                 "First send a subscriber the journal's writes that its process has not had")
        ->needs(journal);
    app.add_flag("--stay", options.stay,
                 "Go on serving after the end of standard input, until a signal");
    app.footer(footer());
}

ExitStatus run(int argc, char** argv)
{
    CLI::App app("The subscription server of a development host: sends an operator's commands to "
                 "every process that has loaded libvarnix.",
                 "dbcsi-server");
    Options options;
    addOptions(app, options);
    if (Varnix::Completion::isAsked(argc, argv)) {
        Varnix::Completion::answer(app, argc, argv,
                                   [](const auto&, const auto&) { return std::nullopt; });
        return ExitStatus::DONE;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitStatus::DONE : ExitStatus::USAGE;
    }
    return serve(options);
}

} // namespace

int main(int argc, char** argv)
{
    ExitStatus status = ExitStatus::UNUSABLE;
    try {
        status = run(argc, argv);
    } catch (const InputError& error) {
        complain(error.what());
        status = ExitStatus::UNREADABLE;
    } catch (const JournalError& error) {
        complain(error.what());
        status = ExitStatus::UNREADABLE;
    } catch (const std::exception& error) {
        complain(reason(error));
    }
    if (!std::cout.flush()) {
        complain("cannot write to standard output");
        if (status == ExitStatus::DONE)
            status = ExitStatus::UNREADABLE;
    }
    return static_cast<int>(status);
}

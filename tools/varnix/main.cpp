#include "command.h"
#include "completion/completion.h"
#include "completionValues.h"
#include "dbfile/shown.h"
#include "document.h"
#include "statusHelp.h"
#include "usage.h"
#include "words.h"

#include <exception>
#include <iostream>
#include <new>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <varnix/version.h>

namespace {

using Varnix::Tool::Failure;
using Varnix::Tool::Status;
using Varnix::Tool::statusMeanings;

/** A message on standard error and, where one document was asked for, in that document. */
Status fail(Status status, const std::string& text, bool asDocument)
{
    if (asDocument)
        Varnix::Tool::printFailure(status, text);
    std::cerr << text << '\n';
    return status;
}

void addSubcommands(CLI::App& app, Status& status)
{
    for (const auto add : {Varnix::Tool::addBuild, Varnix::Tool::addDump, Varnix::Tool::addDiff,
                           Varnix::Tool::addCheck, Varnix::Tool::addInstall,
                           Varnix::Tool::addExplain, Varnix::Tool::addAudit, Varnix::Tool::addTry,
                           Varnix::Tool::addGenerate, Varnix::Tool::addNodeCommands})
        add(app, status);
}

Status run(int argc, char** argv)
{
    const std::span<const char* const> line(argv, static_cast<std::size_t>(argc));
    CLI::App app("Builds, shows, compares and checks Varnix database files, and reads parameters "
                 "as a client does.",
                 "varnix");
    app.set_version_flag("--version", "varnix " VARNIX_VERSION);
    app.require_subcommand(1);
    app.footer(StatusHelp::text(statusMeanings));

    Status status = Status::DONE;
    addSubcommands(app, status);
    if (Varnix::Completion::isAsked(argc, argv)) {
        Varnix::Completion::answer(app, argc, argv, Varnix::Tool::completionValues);
        return Status::DONE;
    }

    const bool asDocument = Varnix::Tool::asksForDocument(app, line);
    if (asDocument)
        Varnix::Tool::endWithoutMemory();
    try {
        app.parse(argc, argv);
        return status;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            return Status::DONE;
        }
        // Words of the command line are in the message as they were given.
        return fail(Status::WRONG_USAGE,
                    "varnix: " + Varnix::DbFile::shown(Varnix::Tool::wrongUsage(app, error, line)) +
                        "\nTry " + Varnix::Tool::helpFor(app) + '.',
                    asDocument);
    } catch (const Failure& failure) {
        return fail(failure.status(), failure.what(), asDocument);
    } catch (const std::bad_alloc&) {
        return fail(Status::UNREADABLE, Varnix::Tool::outOfMemory, asDocument);
    } catch (const std::system_error& error) { // a thread or a descriptor that cannot be had
        return fail(Status::UNREADABLE, std::string("varnix: ") + error.what(), asDocument);
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const Status status = run(argc, argv);
        if (std::cout.flush())
            return static_cast<int>(status);
        std::cerr << "varnix: cannot write to standard output\n";
        if (status > Status::NO) // an earlier failure stays the reason
            return static_cast<int>(status);
    } catch (const std::exception& error) {
        std::cerr << "varnix: " << error.what() << '\n';
    }
    return static_cast<int>(Status::UNREADABLE);
}

#include "command.h"
#include "dbfile/checker.h"
#include "files.h"
#include "terminal.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include <unistd.h>

namespace Varnix::Tool {

namespace {

/** Findings are this command's result and go to standard output; warnings and notes are none. */
Status checkFile(const std::string& path)
{
    const DbFile::CheckResult result = DbFile::check(readInput(path));
    const std::string error = Painter(STDOUT_FILENO).paint(Colour::RED, "error");
    const Painter painter(STDERR_FILENO);
    const std::string warned = painter.paint(Colour::YELLOW, "warning");
    const std::string noted = painter.paint(Colour::BOLD, "note");
    for (const DbFile::Finding& finding : result.findings)
        std::cout << describe(path, finding, error) << '\n';
    for (const DbFile::Finding& warning : result.warnings)
        std::cerr << describe(path, warning, warned) << '\n';
    for (const DbFile::Finding& note : result.notes)
        std::cerr << describe(path, note, noted) << '\n';
    return result.findings.empty() ? Status::DONE : Status::NO;
}

/** One unreadable file does not keep the others from being checked. */
Status checkFiles(const std::vector<std::string>& paths)
{
    Status worst = Status::DONE;
    for (const std::string& path : paths) {
        try {
            worst = std::max(worst, checkFile(path));
        } catch (const Failure& failure) {
            std::cerr << failure.what() << '\n';
            worst = std::max(worst, failure.status());
        }
    }
    return worst;
}

} // namespace

void addCheck(CLI::App& app, Status& status)
{
    const auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App* const command = app.add_subcommand(
        "check", "Name everything that must not be in a database file; stricter than a loader");
    command->add_option("file", *paths, "Database files")->type_name("FILE")->required();
    command->callback([paths, &status] { status = checkFiles(*paths); });
}

} // namespace Varnix::Tool

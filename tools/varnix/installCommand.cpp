#include "command.h"
#include "dbfile/comparison.h"
#include "dbfile/decoder.h"
#include "dbfile/fileIo.h"
#include "dbfile/shown.h"
#include "fileCheck.h"
#include "files.h"
#include "oldValues.h"
#include "schemas.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace Varnix::Tool {

namespace {

struct InstallOptions
{
    SchemaOptions schemas;
    std::string file;
    std::string target;
};

/** What the file holds for a client; nothing where there is no such file or no client reads it. */
std::vector<DbFile::Record> recordsOf(const std::string& path)
{
    try {
        const std::string image = DbFile::readWholeFile(path);
        return DbFile::refusals(image).empty() ? DbFile::readRecords(image)
                                               : std::vector<DbFile::Record>();
    } catch (const DbFile::FileError&) {
        return {};
    }
}

void printHolder(const OldHolder& holder, const std::string& target)
{
    std::cout << "process " << holder.process << " (" << DbFile::shown(holder.command)
              << ") still holds the old value of " << DbFile::shown(holder.keys.front());
    if (holder.keys.size() > 1)
        std::cout << " and of " << holder.keys.size() - 1 << " more";
    std::cout << " in " << DbFile::shown(target) << '\n';
}

Status install(const InstallOptions& options)
{
    std::error_code error;
    if (std::filesystem::equivalent(options.file, options.target, error))
        throw Failure(Status::WRONG_USAGE,
                      "varnix: FILE and DEST are the same file: " + DbFile::shown(options.file));
    const std::string image = readInput(options.file);
    FileChecker checker(options.schemas, true);
    checker.checkSchemas();
    checker.check(options.file, image);
    checker.printExplanation();
    if (checker.report().status() != Status::DONE)
        return checker.report().status();
    const std::vector<DbFile::Record> old = recordsOf(options.target);
    writeOutput(options.target, image);
    for (const OldHolder& holder :
         holdersOfOld(options.target, differences(old, DbFile::readRecords(image))))
        printHolder(holder, options.target);
    return Status::DONE;
}

} // namespace

void addInstall(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<InstallOptions>();
    CLI::App* const command = app.add_subcommand(
        "install", "Check a database file and, where nothing is found, put it into its place");
    addSchemaOptions(*command, options->schemas);
    command->add_option("file", options->file, "The database file to install")
        ->type_name("FILE")
        ->required();
    command->add_option("dest", options->target, "The file to replace, or a new one")
        ->type_name("DEST")
        ->required();
    command->callback([options, &status] { status = install(*options); });
}

} // namespace Varnix::Tool

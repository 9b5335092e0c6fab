#include "command.h"
#include "dbfile/sourceParser.h"
#include "files.h"

#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* standardOutput = "-";

struct BuildOptions
{
    std::string output;
    std::vector<std::string> sources;
};

std::string outputPath(const BuildOptions& options)
{
    if (!options.output.empty())
        return options.output;
    if (options.sources.size() > 1)
        throw Failure(Status::WrongUsage, "varnix: several sources need -o OUT");
    return fs::path(options.sources.front()).replace_extension(".db").string();
}

void refuseOverwriting(const std::string& output, const std::vector<std::string>& sources)
{
    std::error_code error;
    for (const std::string& source : sources)
        if (output == source || fs::equivalent(output, source, error))
            throw Failure(Status::WrongUsage,
                          "varnix: the output would replace the source " + source);
}

void write(const std::string& output, const std::string& image)
{
    if (output == standardOutput)
        std::cout << image;
    else
        writeOutput(output, image);
}

Status build(const BuildOptions& options)
{
    const std::string output = outputPath(options);
    if (output == standardOutput && ::isatty(STDOUT_FILENO) != 0)
        throw Failure(Status::WrongUsage, "varnix: a database is not written to a terminal");
    refuseOverwriting(output, options.sources);

    DbFile::SourceParser parser;
    for (const std::string& source : options.sources)
        parser.parse(source, readInput(source));
    std::string errors;
    for (const DbFile::SourceError& error : parser.errors())
        errors.append(errors.empty() ? "" : "\n").append(describe(error));
    if (!errors.empty())
        throw Failure(Status::Invalid, errors);
    write(output, encode(parser.database()));
    return Status::Done;
}

} // namespace

void addBuild(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<BuildOptions>();
    CLI::App* const command = app.add_subcommand("build", "Build a database file from text");
    command
        ->add_option("-o,--output", options->output,
                     "The file to write, - for standard output; without it, the one source with "
                     "the extension .db")
        ->type_name("OUT");
    command->add_option("source", options->sources, "Text sources, merged in this order")
        ->type_name("SOURCE")
        ->required();
    command->callback([options, &status] { status = build(*options); });
}

} // namespace Varnix::Tool

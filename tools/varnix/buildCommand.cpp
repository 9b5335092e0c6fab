#include "command.h"
#include "dbfile/shown.h"
#include "dbfile/sourceParser.h"
#include "files.h"
#include "terminal.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

#include <unistd.h>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* standardOutput = "-";

struct BuildOptions
{
    std::string output;
    std::string depfile;
    std::vector<std::string> sources;
};

std::string outputPath(const BuildOptions& options)
{
    if (!options.output.empty())
        return options.output;
    if (options.sources.size() > 1)
        throw Failure(Status::WRONG_USAGE, "varnix: several sources need -o OUT");
    return fs::path(options.sources.front()).replace_extension(".db").string();
}

bool isSameFile(const std::string& a, const std::string& b)
{
    std::error_code error;
    return a == b || fs::equivalent(a, b, error);
}

void refuseReplacing(const std::string& replaced, const std::string& path, const std::string& role,
                     const std::string& option)
{
    if (isSameFile(path, replaced))
        throw Failure(Status::WRONG_USAGE, "varnix: the " + role + " would replace " +
                                               DbFile::shown(replaced) +
                                               "; name another file with " + option);
}

void refuseDepfile(const BuildOptions& options, const std::string& output)
{
    if (output == standardOutput)
        throw Failure(Status::WRONG_USAGE,
                      "varnix: --depfile needs an output file; name one with -o");
    refuseReplacing(output, options.depfile, "dependency file", "--depfile");
    for (const std::string& source : options.sources)
        refuseReplacing(source, options.depfile, "dependency file", "--depfile");
}

/** A path as make and Ninja read it in a rule. */
std::string escaped(const std::string& path)
{
    std::string text;
    for (const char c : path) {
        if (c == ' ' || c == '#')
            text.push_back('\\');
        else if (c == '$')
            text.push_back('$');
        text.push_back(c);
    }
    return text;
}

/** A rule for the output, and one for each source, so that make does without one that is gone. */
std::string dependencies(const std::string& output, const std::vector<std::string>& sources)
{
    std::string rule = escaped(output) + ':';
    std::string others;
    for (const std::string& source : sources) {
        rule.append(" ").append(escaped(source));
        others.append(escaped(source)).append(":\n");
    }
    return rule + '\n' + others;
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
        throw Failure(Status::WRONG_USAGE,
                      "varnix: a database is not written to a terminal; name a file with -o");
    for (const std::string& source : options.sources)
        refuseReplacing(source, output, "output", "-o");
    if (!options.depfile.empty())
        refuseDepfile(options, output);

    DbFile::SourceParser parser;
    for (const std::string& source : options.sources)
        parser.parse(source, readInput(source));
    const std::string warning = Painter(STDERR_FILENO).paint(Colour::YELLOW, "warning");
    for (const DbFile::SourceFinding& finding : parser.warnings())
        std::cerr << describe(finding, warning) << '\n';
    std::string errors;
    for (const DbFile::SourceFinding& error : parser.errors())
        errors.append(errors.empty() ? "" : "\n").append(describe(error));
    if (!errors.empty())
        throw Failure(Status::INVALID, errors);
    const std::string image = encode(parser.database());
    // Before the output: an output that is new never stands beside old dependencies.
    if (!options.depfile.empty())
        writeOutput(options.depfile, dependencies(output, options.sources));
    write(output, image);
    return Status::DONE;
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
    command
        ->add_option("--depfile", options->depfile,
                     "Write there what the output depends on, as a rule for make and Ninja")
        ->type_name("FILE");
    command->add_option("source", options->sources, "Text sources, merged in this order")
        ->type_name("SOURCE")
        ->required();
    command->callback([options, &status] { status = build(*options); });
}

} // namespace Varnix::Tool

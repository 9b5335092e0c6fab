#include "command.h"
#include "dbfile/shown.h"
#include "dbfile/sourceParser.h"
#include "files.h"
#include "schemas.h"
#include "terminal.h"

#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <utility>
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
    bool isOverriding = false;
    SchemaOptions schemas;
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

/** The sources and the schemas. */
std::vector<std::string> inputs(const BuildOptions& options)
{
    std::vector<std::string> paths = options.sources;
    paths.insert(paths.end(), options.schemas.paths.begin(), options.schemas.paths.end());
    return paths;
}

void refuseDepfile(const BuildOptions& options, const std::string& output)
{
    if (output == standardOutput)
        throw Failure(Status::WRONG_USAGE,
                      "varnix: --depfile needs an output file; name one with -o");
    refuseReplacing(output, options.depfile, "dependency file", "--depfile");
    for (const std::string& path : inputs(options))
        refuseReplacing(path, options.depfile, "dependency file", "--depfile");
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

void refuseOutputs(const BuildOptions& options, const std::string& output)
{
    if (output == standardOutput && ::isatty(STDOUT_FILENO) != 0)
        throw Failure(Status::WRONG_USAGE,
                      "varnix: a database is not written to a terminal; name a file with -o");
    for (const std::string& path : inputs(options))
        refuseReplacing(path, output, "output", "-o");
    if (!options.depfile.empty())
        refuseDepfile(options, output);
}

void printAll(const std::vector<DbFile::SourceFinding>& findings, Colour colour, const char* name)
{
    const std::string severity = Painter(STDERR_FILENO).paint(colour, name);
    for (const DbFile::SourceFinding& finding : findings)
        std::cerr << describe(finding, severity) << '\n';
}

DbFile::SourceParser parse(const std::map<std::string, std::string>& texts,
                           const BuildOptions& options)
{
    using Repetition = DbFile::SourceParser::Repetition;
    DbFile::SourceParser parser(DbFile::Format::maxLength,
                                options.isOverriding ? Repetition::OVERRIDES : Repetition::REFUSED);
    for (const std::string& source : options.sources)
        parser.parse(source, texts.at(source));
    printAll(parser.overrides(), Colour::BOLD, "note");
    printAll(parser.warnings(), Colour::YELLOW, "warning");
    std::string errors;
    for (const DbFile::SourceFinding& error : parser.errors())
        errors.append(errors.empty() ? "" : "\n").append(describe(error));
    if (!errors.empty())
        throw Failure(Status::INVALID, errors);
    return parser;
}

/** Failure with INVALID where a schema refuses what was read, or refuses itself. */
void judge(const BuildOptions& options, const DbFile::SourceParser& parser,
           const std::map<std::string, std::string>& texts)
{
    if (options.schemas.paths.empty())
        return;
    const Schema::Schema schema = readSchemas(options.schemas.paths);
    std::vector<Schema::Report> reports = reportSchema(schema);
    for (Schema::Report& report : reportSources(schema, parser, texts, options.schemas.coverage()))
        reports.push_back(std::move(report));
    printWarnings(reports);
    const std::string text = explanation(reports);
    if (const std::string errors = errorsOf(reports); !errors.empty())
        throw Failure(Status::INVALID, errors + '\n' + text);
    if (!text.empty())
        std::cerr << text << '\n';
}

Status build(const BuildOptions& options)
{
    const std::string output = outputPath(options);
    refuseOutputs(options, output);
    std::map<std::string, std::string> texts;
    for (const std::string& source : options.sources)
        if (!texts.contains(source)) // a pipe is read once
            texts[source] = readInput(source);
    const DbFile::SourceParser parser = parse(texts, options);
    judge(options, parser, texts);
    const std::string image = encode(parser.database());
    // Before the output: an output that is new is never beside old dependencies.
    if (!options.depfile.empty())
        writeOutput(options.depfile, dependencies(output, inputs(options)));
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
    command->add_flag("--override", options->isOverriding,
                      "A key that an earlier source gives, too, takes the later source's value");
    addSchemaOptions(*command, options->schemas);
    command->add_option("source", options->sources, "Text sources, merged in this order")
        ->type_name("SOURCE")
        ->required();
    command->callback([options, &status] { status = build(*options); });
}

} // namespace Varnix::Tool

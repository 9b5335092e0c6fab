#include "command.h"
#include "dbfile/checker.h"
#include "dbfile/decoder.h"
#include "files.h"
#include "schemas.h"
#include "terminal.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include <unistd.h>

namespace Varnix::Tool {

namespace {

struct CheckOptions
{
    SchemaOptions schemas;
    std::vector<std::string> files;
};

class Checker
{
public:
    explicit Checker(const SchemaOptions& options)
        : m_coverage(options.coverage()), m_schema(readSchemas(options.paths))
    {
    }

    /** One unreadable file does not keep the others from being checked. */
    Status check(const std::vector<std::string>& paths)
    {
        report(reportSchema(m_schema));
        for (const std::string& path : paths) {
            try {
                checkFile(path);
            } catch (const Failure& failure) {
                std::cerr << failure.what() << '\n';
                m_worst = std::max(m_worst, failure.status());
            }
        }
        if (const std::string text = explanation(m_reports); !text.empty()) {
            std::cout.flush(); // the findings first
            std::cerr << text << '\n';
        }
        return m_worst;
    }

private:
    /** Findings are this command's result and go to standard output; warnings and notes are none.
     */
    void checkFile(const std::string& path)
    {
        const std::string image = readInput(path);
        const DbFile::CheckResult result = DbFile::check(image);
        const std::string noted = m_errors.paint(Colour::BOLD, "note");
        for (const DbFile::Finding& finding : result.findings)
            printFinding(describe(path, finding, m_error));
        for (const DbFile::Finding& warning : result.warnings)
            std::cerr << describe(path, warning, m_warning) << '\n';
        for (const DbFile::Finding& note : result.notes)
            std::cerr << describe(path, note, noted) << '\n';
        // A schema says nothing of a file that no client reads.
        if (DbFile::refusals(image).empty())
            report(reportImage(m_schema, path, image, m_coverage));
    }

    void report(const std::vector<Schema::Report>& reports)
    {
        for (const Schema::Report& report : reports)
            if (isWarning(report.check))
                std::cerr << describe(report, m_warning) << '\n';
            else
                printFinding(describe(report, m_error));
        m_reports.insert(m_reports.end(), reports.begin(), reports.end());
    }

    void printFinding(const std::string& line)
    {
        std::cout << line << '\n';
        m_worst = std::max(m_worst, Status::NO);
    }

    Schema::Coverage m_coverage;
    Schema::Schema m_schema;
    std::vector<Schema::Report> m_reports;
    Status m_worst = Status::DONE;
    Painter m_errors{STDERR_FILENO};
    std::string m_error = Painter(STDOUT_FILENO).paint(Colour::RED, "error");
    std::string m_warning = m_errors.paint(Colour::YELLOW, "warning");
};

Status check(const CheckOptions& options)
{
    if (options.files.empty() && options.schemas.paths.empty())
        throw Failure(Status::WRONG_USAGE, "varnix: a file or --schema is required\n"
                                           "Try varnix check --help.");
    return Checker(options.schemas).check(options.files);
}

} // namespace

void addCheck(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<CheckOptions>();
    CLI::App* const command = app.add_subcommand(
        "check", "Name everything that must not be in a database file; stricter than a loader");
    addSchemaOptions(*command, options->schemas);
    command
        ->add_option("file", options->files, "Database files; with none, the schemas are checked")
        ->type_name("FILE");
    command->callback([options, &status] { status = check(*options); });
}

} // namespace Varnix::Tool

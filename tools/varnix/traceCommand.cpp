#include "command.h"
#include "recording/failure.h"
#include "traceRun.h"

#include <exception>
#include <memory>
#include <new>
#include <string>

namespace Varnix::Tool {

namespace {

constexpr const char* unusable = "varnix: LTTng cannot be used: ";
constexpr const char* packages = "lttng-tools babeltrace2";

Status trace(const TraceOptions& options)
{
    TracePrinter printer(options.json);
    const auto fail = [&](const std::string& text, Status status = Status::NODE_UNUSABLE) {
        printer.fail(status, text);
        return status;
    };
    try {
        const EndSignals signals;
        Recording::requireReader();
        const int status = TraceRun(options, signals, printer).run(options);
        printer.end();
        return static_cast<Status>(status);
    } catch (const Recording::NoPlace& failure) {
        return fail(std::string(unusable) + failure.what());
    } catch (const Recording::Failure& failure) {
        return fail(std::string(unusable) + failure.what() +
                    "\nInstall what it takes: apt-get install " + packages);
    } catch (const std::bad_alloc&) {
        throw; // to end a document takes memory too
    } catch (const std::exception& error) {
        return fail(std::string("varnix: ") + error.what(), Status::UNREADABLE);
    }
}

} // namespace

void addTrace(CLI::App& app, Status& status)
{
    const auto options = std::make_shared<TraceOptions>();
    CLI::App* const command = app.add_subcommand(
        "trace", "Record what the library reports, and print it as it comes, with what to do");
    command->add_flag("--json", options->json,
                      "Print one JSON document; COMMAND's output goes to standard error");
    command->add_flag("--errors", options->errors, "Only what went wrong");
    command
        ->add_option("command", options->command,
                     "A command to run, after --; only its processes are recorded, and its status "
                     "is the status")
        ->type_name("COMMAND");
    command->callback([options, &status] { status = trace(*options); });
}

} // namespace Varnix::Tool

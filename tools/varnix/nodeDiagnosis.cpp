#include "nodeDiagnosis.h"

#include "command.h"
#include "configuration.h"
#include "dbfile/decoder.h"
#include "dbfile/shown.h"
#include "files.h"
#include "production.h"
#include "selection.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;

/** Whether the file makes the loader ask for bytes that do not come; only files can be asked. */
bool isEndless(const std::string& path)
{
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), R_OK) == 0 &&
           DbFile::endsEarly(readInput(path));
}

} // namespace

void refuseEndlessNode()
{
    for (const ProductionFile& file : productionFiles()) {
        if (isEndless(file.path))
            throw Failure(Status::NODE_UNUSABLE,
                          "varnix: no production database: " + file.variable + ": " +
                              problemWith(file.path).value_or(""));
        if (readImage(file.path).isLoaded)
            break;
    }
}

void refuseUnusableNode(const std::string& config)
{
    const std::vector<std::string> identities =
        requireIdentities(readProduction(productionFiles()));
    for (const std::string& path :
         Backend::Selection::selectFiles(readConfiguration(config), identities))
        if (const std::optional<std::string> problem = problemWith(path))
            throw Failure(Status::NODE_UNUSABLE, "varnix: a database file that " +
                                                     DbFile::shown(config) +
                                                     " selects cannot be used: " + *problem);
    throw Failure(Status::NODE_UNUSABLE,
                  "varnix: the library's trace events tell why it cannot use " +
                      DbFile::shown(config));
}

} // namespace Varnix::Tool

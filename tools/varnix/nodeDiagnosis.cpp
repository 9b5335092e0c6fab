#include "nodeDiagnosis.h"

#include "command.h"
#include "configFile.h"
#include "configuration.h"
#include "dbfile/decoder.h"
#include "files.h"
#include "production.h"
#include "selection.h"

#include <unistd.h>

#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;
namespace DBUtils = Varnix::Backend::DBUtils;

/** Whether the file makes the loader ask for bytes that do not come; only files can be asked. */
bool isEndless(const std::string& path)
{
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), R_OK) == 0 &&
           DbFile::endsEarly(readInput(path));
}

std::string whyNoConfiguration(const std::string& config,
                               const std::vector<std::string>& identities)
{
    if (const std::optional<std::string> reason = whyNotOpened(config))
        return *reason;
    std::vector<DBUtils::DbConfiguration> entries;
    if (const auto error = DBUtils::readConfigFile(config, entries))
        return "the configuration is not valid: " + describe(*error, config);
    for (const std::string& path : Backend::Selection::selectFiles(entries, identities))
        if (const std::optional<std::string> problem = problemWith(path))
            return "a database file that " + config + " selects cannot be used: " + *problem;
    return "the library's trace events tell why it cannot use " + config;
}

} // namespace

void refuseEndlessNode(const std::string& config)
{
    for (const ProductionFile& file : productionFiles()) {
        if (isEndless(file.path))
            throw Failure(Status::NodeUnusable, "varnix: no production database: " + file.variable +
                                                    ": " + problemWith(file.path).value_or(""));
        if (!problemWith(file.path))
            break;
    }
    if (isFolder(config))
        throw Failure(Status::NodeUnusable, "varnix: " + whyNoConfiguration(config, {}));
}

std::string whyUnusable(const std::string& config)
{
    const std::vector<ProductionFile> files = productionFiles();
    const std::optional<Production> production = readProduction(files);
    if (!production)
        return "varnix: no production database: " + whyNoProduction(files);
    const std::optional<std::vector<std::string>> identities = identitiesIn(production->database);
    if (!identities)
        return "varnix: " + whyNoIdentities();
    return "varnix: " + whyNoConfiguration(config, *identities);
}

} // namespace Varnix::Tool

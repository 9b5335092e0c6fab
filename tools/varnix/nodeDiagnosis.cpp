#include "nodeDiagnosis.h"

#include "command.h"
#include "configFile.h"
#include "dbfile/comparison.h"
#include "dbfile/decoder.h"
#include "dbfile/types.h"
#include "files.h"
#include "selection.h"
#include "tokenize.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;
namespace DBUtils = Varnix::Backend::DBUtils;

/** The variables that name the production database, in the order in which they are tried. */
constexpr std::array productionVariables{"sys_uflash_prod_db_dev_dev", "sys_uflash_prod_db_dev"};
constexpr const char* identitiesKey = "/componentConfigId";

struct ProductionFile
{
    std::string variable;
    std::string path;
};

std::vector<ProductionFile> productionFiles()
{
    std::vector<ProductionFile> files;
    for (const char* const variable : productionVariables)
        if (const char* const path = std::getenv(variable); path != nullptr)
            files.push_back({variable, path});
    return files;
}

bool isFolder(const std::string& path)
{
    std::error_code error;
    return fs::is_directory(path, error);
}

/** Whether the file makes the loader ask for bytes that do not come; only files can be asked. */
bool isEndless(const std::string& path)
{
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), R_OK) == 0 &&
           DbFile::endsEarly(readInput(path));
}

std::string whyNoProduction(const std::vector<ProductionFile>& files)
{
    if (files.empty())
        return std::string("neither ") + productionVariables[0] + " nor " + productionVariables[1] +
               " is set in the environment";
    std::string text;
    for (const ProductionFile& file : files)
        text.append(text.empty() ? "" : "\n")
            .append(file.variable)
            .append(": ")
            .append(problemWith(file.path).value_or("it was not loaded"));
    return text;
}

std::optional<DbFile::Database> readProduction(const std::vector<ProductionFile>& files)
{
    for (const ProductionFile& file : files)
        if (!problemWith(file.path))
            return readDatabase(file.path);
    return std::nullopt;
}

/** The node's identities; nothing when the production database holds no text for them. */
std::optional<std::vector<std::string>> identitiesIn(const DbFile::Database& production)
{
    const auto parameters = DbFile::parameters(production);
    const auto found = parameters.find(identitiesKey);
    if (found == parameters.end() || found->second.type != DbFile::charType ||
        found->second.data.empty())
        return std::nullopt;
    return DBUtils::tokenize(found->second.data, " ");
}

std::string whyNoConfiguration(const std::string& config,
                               const std::vector<std::string>& identities)
{
    if (isFolder(config))
        return "no configuration: " + config + " is a folder";
    if (::access(config.c_str(), R_OK) != 0)
        return "no configuration: cannot open " + config + ": " +
               std::system_category().message(errno);
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
    const std::optional<DbFile::Database> production = readProduction(files);
    if (!production)
        return "varnix: no production database: " + whyNoProduction(files);
    const std::optional<std::vector<std::string>> identities = identitiesIn(*production);
    if (!identities)
        return std::string("varnix: no identities: the production database holds no text at ") +
               identitiesKey;
    return "varnix: " + whyNoConfiguration(config, *identities);
}

} // namespace Varnix::Tool

#include "nodeFiles.h"

#include "command.h"
#include "configFile.h"
#include "dbfile/shown.h"
#include "production.h"
#include "rootedPath.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>

namespace Varnix::Tool {

namespace {

namespace fs = std::filesystem;

/** A node whose directory holds more is asked for by name. */
constexpr std::size_t maxFiles = 10000;

/** The regular files below the directory, as paths of the node, in order. Links are not followed.
 */
std::vector<std::string> filesBelow(const std::string& node)
{
    std::vector<std::string> files;
    std::error_code error;
    fs::recursive_directory_iterator entries(node, fs::directory_options::skip_permission_denied,
                                             error);
    for (; !error && entries != fs::recursive_directory_iterator(); entries.increment(error)) {
        std::error_code ignored;
        if (!fs::is_regular_file(entries->symlink_status(ignored)))
            continue;
        if (files.size() == maxFiles)
            throw Failure(Status::UNREADABLE,
                          "varnix: the node has too many files to look for a configuration; name "
                          "it with --config, and the production database with --production");
        files.push_back('/' + entries->path().lexically_relative(node).string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool isConfiguration(const std::string& node, const std::string& path)
{
    using Backend::DBUtils::ConfigError;
    if (fs::path(path).extension() != ".cfg")
        return false;
    std::vector<Backend::DBUtils::DbConfiguration> entries;
    const auto error = Backend::DBUtils::readConfigFile(
        path, entries, nullptr, [&node](const std::string& file) { return pathBelow(node, file); });
    return !error || error->kind != ConfigError::Kind::NO_COMPONENT_VERSIONS;
}

bool holdsIdentities(const DatabaseFile& file)
{
    if (!file.content || file.problem)
        return false;
    const DbFile::StoredValue* const found = file.content->store.find(identitiesKey);
    return found != nullptr && found->value.type == DbFile::charType;
}

} // namespace

std::vector<std::string> configurationsIn(const std::string& node)
{
    std::vector<std::string> configs;
    for (std::string& path : filesBelow(node))
        if (isConfiguration(node, path))
            configs.push_back(std::move(path));
    return configs;
}

std::string productionIn(const std::string& node, const FileReader& read)
{
    std::vector<std::string> found;
    for (std::string& path : filesBelow(node))
        if (looksLikeDatabase(node + path) && holdsIdentities(read(node + path)))
            found.push_back(std::move(path));
    if (found.size() == 1)
        return found.front();
    if (found.empty())
        throw Failure(Status::UNREADABLE,
                      std::string("varnix: no production database: no file holds a text at ") +
                          identitiesKey + "; name it with --production");
    throw Failure(Status::UNREADABLE, "varnix: no production database: " + DbFile::shown(found[0]) +
                                          " and " + DbFile::shown(found[1]) +
                                          " hold identities; name it "
                                          "with --production");
}

} // namespace Varnix::Tool

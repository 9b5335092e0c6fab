#include "configuration.h"

#include "command.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace Varnix::Tool {

namespace DBUtils = Backend::DBUtils;

namespace {

std::string positionedText(const DBUtils::ConfigError& error, const std::string& config)
{
    const std::string place =
        error.line > 0 ? config + ":" + std::to_string(error.line) : std::string(config);
    const bool isSyntax = error.kind == DBUtils::ConfigError::Kind::UNREADABLE;
    return place + ": error: " + (isSyntax ? error.reason : describe(error, config));
}

} // namespace

bool isFolder(const std::string& path)
{
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

std::optional<std::string> whyNotOpened(const std::string& config)
{
    if (isFolder(config))
        return "no configuration: " + config + " is a folder";
    if (::access(config.c_str(), R_OK) != 0)
        return "no configuration: cannot open " + config + ": " +
               std::system_category().message(errno);
    return std::nullopt;
}

std::vector<DBUtils::DbConfiguration> readConfiguration(const std::string& config)
{
    if (const std::optional<std::string> reason = whyNotOpened(config))
        throw Failure(Status::NodeUnusable, "varnix: " + *reason);
    std::vector<DBUtils::DbConfiguration> entries;
    if (const auto error = DBUtils::readConfigFile(config, entries)) {
        if (error->kind == DBUtils::ConfigError::Kind::UNREADABLE && error->line == 0)
            throw Failure(Status::NodeUnusable,
                          "varnix: no configuration: cannot read " + config + ": " + error->reason);
        throw Failure(Status::Invalid, positionedText(*error, config));
    }
    return entries;
}

} // namespace Varnix::Tool

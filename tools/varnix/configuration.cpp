#include "configuration.h"

#include "command.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace Varnix::Tool {

namespace DBUtils = Backend::DBUtils;

namespace {

/** Whether the file could not be read, and not understood: every syntax error has a line. */
bool isReadFailure(const DBUtils::ConfigError& error)
{
    return error.kind == DBUtils::ConfigError::Kind::UNREADABLE && error.line == 0;
}

std::string positionedText(const DBUtils::ConfigError& error, const std::string& config)
{
    const std::string place =
        error.line > 0 ? config + ":" + std::to_string(error.line) : std::string(config);
    const bool isSyntax = error.kind == DBUtils::ConfigError::Kind::UNREADABLE;
    return place + ": error: " + (isSyntax ? error.reason : describe(error, config));
}

} // namespace

bool hasNoEnd(const std::string& path)
{
    std::error_code error;
    return std::filesystem::is_directory(path, error) ||
           std::filesystem::is_character_file(path, error);
}

void refuseUnopened(const std::string& config)
{
    if (hasNoEnd(config))
        throw Failure(Status::NODE_UNUSABLE,
                      "varnix: no configuration: " + config + " is a directory or a device");
    if (::access(config.c_str(), R_OK) != 0)
        throw Failure(Status::NODE_UNUSABLE, "varnix: no configuration: cannot open " + config +
                                                 ": " + std::system_category().message(errno));
}

std::vector<DBUtils::DbConfiguration> readConfiguration(const std::string& config)
{
    refuseUnopened(config);
    std::vector<DBUtils::DbConfiguration> entries;
    const auto error = DBUtils::readConfigFile(config, entries);
    if (error && isReadFailure(*error))
        throw Failure(Status::NODE_UNUSABLE,
                      "varnix: no configuration: cannot read " + config + ": " + error->reason);
    if (error)
        throw Failure(Status::INVALID, positionedText(*error, config));
    return entries;
}

} // namespace Varnix::Tool

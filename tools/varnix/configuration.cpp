#include "configuration.h"

#include "command.h"
#include "configHint.h"
#include "dbfile/shown.h"

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
    const std::string place = error.line > 0
                                  ? DbFile::shown(error.file) + ":" + std::to_string(error.line)
                                  : DbFile::shown(config);
    const bool isSyntax = error.kind == DBUtils::ConfigError::Kind::UNREADABLE;
    return place + ": error: " + (isSyntax ? error.reason : describe(error, DbFile::shown(config)));
}

Failure noConfiguration(const std::string& why)
{
    return {Status::NODE_UNUSABLE, "varnix: no configuration: " + why, Status::UNREADABLE};
}

/** Failure with NODE_UNUSABLE when the configuration file cannot be opened or has no end. */
void refuseUnopened(const std::string& config)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(config, error);
    if (std::filesystem::is_fifo(status) || std::filesystem::is_socket(status))
        throw noConfiguration(DbFile::shown(config) + " is a pipe or a socket");
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw noConfiguration(DbFile::shown(config) + " is a directory or a device");
    if (::access(config.c_str(), R_OK) == 0)
        return;
    const int reason = errno; // before anything else can change it
    throw noConfiguration("cannot open " + DbFile::shown(config) + ": " +
                          std::system_category().message(reason));
}

} // namespace

std::vector<DBUtils::DbConfiguration>
readConfiguration(const std::string& config, std::vector<DBUtils::ConfigText::Place>* places,
                  const NodePlace& place)
{
    refuseUnopened(place.locate(config));
    const DBUtils::Locate locate = [&place](const std::string& path) { return place.locate(path); };
    std::vector<DBUtils::DbConfiguration> entries;
    const auto error = DBUtils::readConfigFile(config, entries, places, locate);
    if (error && isReadFailure(*error))
        throw noConfiguration("cannot read " + DbFile::shown(place.locate(config)) + ": " +
                              error->reason);
    if (error) {
        const std::string hint = hintFor(*error, config, locate);
        throw Failure(Status::INVALID,
                      positionedText(*error, config) + (hint.empty() ? "" : '\n' + hint));
    }
    return entries;
}

} // namespace Varnix::Tool

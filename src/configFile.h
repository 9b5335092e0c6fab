#ifndef VARNIX_CONFIGFILE_H
#define VARNIX_CONFIGFILE_H

#include "configText.h"

#include <optional>
#include <string>
#include <vector>

namespace Varnix::Backend::DBUtils {

/** One entry of a component configuration file, as written. */
struct DbConfiguration
{
    std::string componentId;
    std::string revision;
    std::vector<std::string> filePaths;
};

/** Why a component configuration file cannot be used. */
struct ConfigError
{
    enum class Kind
    {
        UNREADABLE,
        NO_COMPONENT_VERSIONS,
        NO_ELEMENT,
        NO_COMPONENT_ID,
        NO_REVISION,
        NO_FILE_PATHS,
        BAD_FILE_PATH
    };

    Kind kind = Kind::UNREADABLE;
    int element = 0;      ///< index in the list of entries
    int path = 0;         ///< index in "file_paths", for BAD_FILE_PATH
    int line = 0;         ///< line of a syntax error or of the malformed entry; 0: no line
    std::string file{};   ///< the file that the line is in: this one or one that it includes
    std::string reason{}; ///< libconfig's words, for UNREADABLE
};

/** The error in words, `configFile` named. */
std::string describe(const ConfigError& error, const std::string& configFile);

/**
 * Appends the entries of `configFile` to `configurations`, in file order, and to `places`, if
 * that is not null, where each begins.
 *
 * Stops at the first malformed entry and returns what is wrong with it; the entries before it stay
 * appended. With `locate`, each file is read where that says.
 */
std::optional<ConfigError> readConfigFile(const std::string& configFile,
                                          std::vector<DbConfiguration>& configurations,
                                          std::vector<ConfigText::Place>* places = nullptr,
                                          const Locate& locate = {});

} // namespace Varnix::Backend::DBUtils

#endif

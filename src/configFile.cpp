#include "configFile.h"

#include "fileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

#include <fcntl.h>
#include <libconfig.h>

namespace Varnix::Backend::DBUtils {

namespace {

constexpr const char* componentVersions = "varnix.component_versions";

/** A libconfig object, destroyed on every path out. */
class Config
{
public:
    Config() noexcept { config_init(&m_config); }
    ~Config() { config_destroy(&m_config); }
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;

    config_t* get() noexcept { return &m_config; }

private:
    config_t m_config{};
};

using Kind = ConfigError::Kind;

/**
 * A configuration file as libconfig may read it: libconfig ends the process where a read fails, so
 * that it is shown the file's end instead.
 */
class Source
{
public:
    explicit Source(const std::string& path) noexcept
        : m_file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)),
          m_stream(::fopencookie(this, "r", {.read = &read, .write = {}, .seek = {}, .close = {}}),
                   &std::fclose),
          m_failed(!m_file.isOpen() || !m_stream)
    {
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    bool failed() const noexcept { return m_failed; }
    std::FILE* stream() const noexcept { return m_stream.get(); }

private:
    static ssize_t read(void* cookie, char* data, std::size_t size) noexcept
    {
        auto& source = *static_cast<Source*>(cookie);
        ssize_t got = 0;
        do
            got = ::read(source.m_file.get(), data, size);
        while (got < 0 && errno == EINTR);
        source.m_failed = source.m_failed || got < 0;
        return std::max<ssize_t>(got, 0);
    }

    FileDescriptor m_file;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_stream;
    bool m_failed;
};

constexpr const char* inputError = "file I/O error"; // as libconfig words it

std::optional<ConfigError> readElement(const config_setting_t* element, int index,
                                       DbConfiguration& configuration)
{
    const char* componentId = nullptr;
    if (config_setting_lookup_string(element, "component_id", &componentId) != CONFIG_TRUE)
        return ConfigError{Kind::NO_COMPONENT_ID, index};
    const char* revision = nullptr;
    if (config_setting_lookup_string(element, "revision", &revision) != CONFIG_TRUE)
        return ConfigError{Kind::NO_REVISION, index};
    const config_setting_t* const paths = config_setting_get_member(element, "file_paths");
    if (paths == nullptr)
        return ConfigError{Kind::NO_FILE_PATHS, index};

    configuration.componentId = componentId;
    configuration.revision = revision;
    for (int j = 0; j < config_setting_length(paths); ++j) {
        const char* const path = config_setting_get_string_elem(paths, j);
        if (path == nullptr)
            return ConfigError{Kind::BAD_FILE_PATH, index, j};
        configuration.filePaths.emplace_back(path);
    }
    return std::nullopt;
}

std::string elementText(const ConfigError& error)
{
    switch (error.kind) {
    case Kind::NO_COMPONENT_ID:
        return "Failed to get non-null component_id for element number ";
    case Kind::NO_REVISION:
        return "Failed to get non-null revision for element number ";
    case Kind::NO_FILE_PATHS:
        return "Failed to get file_paths for element number ";
    case Kind::BAD_FILE_PATH:
        return "Failed to get non-null element number " + std::to_string(error.path) +
               " in file_paths for element number ";
    default:
        return "Failed to get element number ";
    }
}

} // namespace

std::string describe(const ConfigError& error, const std::string& configFile)
{
    if (error.kind == Kind::UNREADABLE) {
        return "Error when attempting to read file: " + configFile + " Error on line " +
               std::to_string(error.line) + ": " + error.reason;
    }
    if (error.kind == Kind::NO_COMPONENT_VERSIONS)
        return std::string("Failed to find ") + componentVersions +
               " in configuration file: " + configFile;
    return elementText(error) + std::to_string(error.element) + " in " + componentVersions +
           " list in configuration file: " + configFile;
}

std::optional<ConfigError> readConfigFile(const std::string& configFile,
                                          std::vector<DbConfiguration>& configurations)
{
    Config config;
    Source source(configFile);
    if (source.failed())
        return ConfigError{.kind = Kind::UNREADABLE, .reason = inputError};
    const int parsed = config_read(config.get(), source.stream());
    if (source.failed())
        return ConfigError{.kind = Kind::UNREADABLE, .reason = inputError};
    if (parsed != CONFIG_TRUE) {
        const char* const reason = config_error_text(config.get());
        return ConfigError{.kind = Kind::UNREADABLE,
                           .line = config_error_line(config.get()),
                           .reason = reason != nullptr ? reason : ""};
    }
    const config_setting_t* const list = config_lookup(config.get(), componentVersions);
    if (list == nullptr)
        return ConfigError{Kind::NO_COMPONENT_VERSIONS};

    for (int i = 0; i < config_setting_length(list); ++i) {
        const config_setting_t* const element =
            config_setting_get_elem(list, static_cast<unsigned int>(i));
        if (element == nullptr)
            return ConfigError{Kind::NO_ELEMENT, i};
        DbConfiguration configuration;
        const auto line = static_cast<int>(config_setting_source_line(element));
        if (auto error = readElement(element, i, configuration)) {
            error->line = line;
            return error;
        }
        configuration.line = line;
        configurations.push_back(std::move(configuration));
    }
    return std::nullopt;
}

} // namespace Varnix::Backend::DBUtils

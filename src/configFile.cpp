#include "configFile.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

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

/** A text as libconfig reads it: config_read_string() would end it at a null character. */
class TextStream
{
public:
    explicit TextStream(const std::string& text) noexcept
        : m_rest(text),
          m_stream(::fopencookie(this, "r", {.read = &read, .write = {}, .seek = {}, .close = {}}),
                   &std::fclose)
    {
    }
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;

    /** Null where there is no memory for it. */
    std::FILE* get() const noexcept { return m_stream.get(); }

private:
    static ssize_t read(void* cookie, char* data, std::size_t size) noexcept
    {
        auto& stream = *static_cast<TextStream*>(cookie);
        const std::size_t got = stream.m_rest.copy(data, size);
        stream.m_rest.remove_prefix(got);
        return static_cast<ssize_t>(got);
    }

    std::string_view m_rest;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_stream;
};

ConfigError unreadable(const char* reason, ConfigText::Place place)
{
    return {.kind = Kind::UNREADABLE,
            .line = place.line,
            .file = std::move(place.file),
            .reason = reason};
}

/** Has libconfig parse the text; the error is the text's own where libconfig got so far. */
std::optional<ConfigError> parse(Config& config, const ConfigText& text)
{
    const TextStream stream(text.text());
    if (stream.get() == nullptr)
        return unreadable(ConfigText::inputError, {});
    const bool isParsed = config_read(config.get(), stream.get()) == CONFIG_TRUE;
    const int line = isParsed ? 0 : config_error_line(config.get());
    if (text.failure() && (isParsed || line >= text.failure()->textLine))
        return unreadable(text.failure()->reason, text.failure()->place);
    if (isParsed)
        return std::nullopt;
    const char* const reason = config_error_text(config.get());
    return unreadable(reason != nullptr ? reason : "", text.placeOf(line));
}

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
                                          std::vector<DbConfiguration>& configurations,
                                          std::vector<ConfigText::Place>* places,
                                          const Locate& locate)
{
    Config config;
    const ConfigText text(configFile, locate);
    if (auto error = parse(config, text))
        return error;
    const config_setting_t* const list = config_lookup(config.get(), componentVersions);
    if (list == nullptr)
        return ConfigError{Kind::NO_COMPONENT_VERSIONS};

    for (int i = 0; i < config_setting_length(list); ++i) {
        const config_setting_t* const element =
            config_setting_get_elem(list, static_cast<unsigned int>(i));
        if (element == nullptr)
            return ConfigError{Kind::NO_ELEMENT, i};
        DbConfiguration configuration;
        ConfigText::Place place =
            text.placeOf(static_cast<int>(config_setting_source_line(element)));
        if (auto error = readElement(element, i, configuration)) {
            error->line = place.line;
            error->file = place.file;
            return error;
        }
        configurations.push_back(std::move(configuration));
        if (places != nullptr)
            places->push_back(std::move(place));
    }
    return std::nullopt;
}

} // namespace Varnix::Backend::DBUtils

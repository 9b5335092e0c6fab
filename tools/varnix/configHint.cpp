#include "configHint.h"

#include "dbfile/shown.h"
#include "nearest.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include <libconfig.h>

namespace Varnix::Tool {

namespace {

using Backend::DBUtils::ConfigError;
using Backend::DBUtils::ConfigText;
using Kind = ConfigError::Kind;

constexpr const char* section = "varnix";
constexpr const char* list = "component_versions";
constexpr std::array rightNames{section, list, "component_id", "revision", "file_paths"};

/** A setting that is not there, and the group that should hold it. */
struct Missing
{
    const config_setting_t* group;
    std::string_view name;
};

std::string_view memberOf(Kind kind) noexcept
{
    switch (kind) {
    case Kind::NO_COMPONENT_ID:
        return "component_id";
    case Kind::NO_REVISION:
        return "revision";
    case Kind::NO_FILE_PATHS:
        return "file_paths";
    default:
        return {};
    }
}

std::optional<Missing> missingIn(const config_t& file, const ConfigError& error)
{
    const config_setting_t* const root = config_root_setting(&file);
    const config_setting_t* const group = config_setting_get_member(root, section);
    if (error.kind == Kind::NO_COMPONENT_VERSIONS)
        return group == nullptr ? Missing{root, section} : Missing{group, list};
    const std::string_view member = memberOf(error.kind);
    const config_setting_t* const elements =
        group == nullptr ? nullptr : config_setting_get_member(group, list);
    if (member.empty() || elements == nullptr)
        return std::nullopt;
    return Missing{config_setting_get_elem(elements, static_cast<unsigned>(error.element)), member};
}

/** The members of a group that have a name; none where it is no group. */
std::vector<const config_setting_t*> membersOf(const config_setting_t* group)
{
    std::vector<const config_setting_t*> members;
    const int count = group == nullptr || config_setting_is_group(group) == CONFIG_FALSE
                          ? 0
                          : config_setting_length(group);
    members.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        members.push_back(config_setting_get_elem(group, static_cast<unsigned>(i)));
    return members;
}

bool isRight(std::string_view name)
{
    return std::find(rightNames.begin(), rightNames.end(), name) != rightNames.end();
}

/** What a member may have to do with the missing setting; empty where it is nothing. */
std::string suspicion(std::string_view name, std::string_view missing)
{
    if (name == missing)
        return std::string(name) + " is no text; write its value between double quotes";
    if (isRight(name) || Nearest::distance(name, missing) > missing.size() / 2)
        return {};
    return "there is no setting \"" + DbFile::shown(name) + "\"; did you mean \"" +
           std::string(missing) + "\"?";
}

} // namespace

std::string hintFor(const ConfigError& error, const std::string& config,
                    const Backend::DBUtils::Locate& locate)
{
    if (error.kind == Kind::UNREADABLE)
        return {};
    const ConfigText text(config, locate);
    config_t file{};
    config_init(&file);
    const std::unique_ptr<config_t, void (*)(config_t*)> destroyed(&file, &config_destroy);
    if (text.text().find('\0') != std::string::npos || // it would end the text for libconfig
        config_read_string(&file, text.text().c_str()) != CONFIG_TRUE)
        return {};
    const std::optional<Missing> missing = missingIn(file, error);
    if (!missing)
        return {};
    for (const config_setting_t* const member : membersOf(missing->group)) {
        const std::string suspected = suspicion(config_setting_name(member), missing->name);
        if (suspected.empty())
            continue;
        const ConfigText::Place place =
            text.placeOf(static_cast<int>(config_setting_source_line(member)));
        return DbFile::shown(place.file) + ':' + std::to_string(place.line) +
               ": note: " + suspected;
    }
    return {};
}

} // namespace Varnix::Tool

#ifndef VARNIX_SCHEMA_CHECKS_H
#define VARNIX_SCHEMA_CHECKS_H

#include <array>
#include <cstddef>
#include <string_view>

namespace Varnix::Schema {

/** What can be found with a schema. */
enum class Check
{
    TYPE,
    ELEMENTS,
    RANGE,
    ALTERNATIVE,
    EXPRESSION,
    DEPRECATED,
    CLOSED,
    REQUIRED,
    CONTRADICTION,
    DEFAULT,
};

/** The names under which varnix-schema(5) explains the checks, in the order of the enumerators. */
inline constexpr std::array<std::string_view, 10> checkNames{
    "type",       "elements", "range",    "alternative",   "expression",
    "deprecated", "closed",   "required", "contradiction", "default",
};

constexpr std::string_view nameOf(Check check)
{
    return checkNames.at(static_cast<std::size_t>(check));
}

/** A warning is reported and refuses nothing. */
constexpr bool isWarning(Check check) noexcept
{
    return check == Check::DEPRECATED;
}

} // namespace Varnix::Schema

#endif

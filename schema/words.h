#ifndef VARNIX_SCHEMA_WORDS_H
#define VARNIX_SCHEMA_WORDS_H

#include <array>
#include <string_view>

/** The words of a schema other than the names of types, each written here and nowhere else. */
namespace Varnix::Schema {

inline constexpr std::string_view unitWord = "unit";
inline constexpr std::string_view defaultWord = "default";
inline constexpr std::string_view requiredWord = "required";
inline constexpr std::string_view deprecatedWord = "deprecated";

inline constexpr std::array propertyWords{unitWord, defaultWord, requiredWord, deprecatedWord};

} // namespace Varnix::Schema

#endif

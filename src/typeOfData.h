#ifndef VARNIX_TYPEOFDATA_H
#define VARNIX_TYPEOFDATA_H

#include <array>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <map>
#include <ostream>
#include <type_traits>

namespace Varnix::Backend {

/** The data type of a parameter; the values are also those in a database file. */
enum class TypeOfData_t : std::uint8_t
{
    UNDEFINED = 0,
    U8 = 2,
    S8 = 3,
    U16 = 4,
    S16 = 5,
    U32 = 6,
    S32 = 7,
    CHAR = 10
};

/** What there is to know of a named type. A type without integers has an empty range. */
struct TypeInfo
{
    TypeOfData_t type;
    const char* name;
    unsigned int elementSize;
    std::int64_t min;
    std::int64_t max;

    constexpr bool holds(std::int64_t value) const noexcept { return min <= value && value <= max; }
    constexpr bool isInteger() const noexcept { return min <= max; }
};

template <typename T>
constexpr TypeInfo integerType(TypeOfData_t type, const char* name) noexcept
{
    return {type, name, sizeof(T), std::numeric_limits<T>::min(), std::numeric_limits<T>::max()};
}

/** Every named type, once. */
inline constexpr std::array namedTypes{
    TypeInfo{TypeOfData_t::UNDEFINED, "UNDEFINED", 0, 0, -1},
    integerType<std::uint8_t>(TypeOfData_t::U8, "U8"),
    integerType<std::int8_t>(TypeOfData_t::S8, "S8"),
    integerType<std::uint16_t>(TypeOfData_t::U16, "U16"),
    integerType<std::int16_t>(TypeOfData_t::S16, "S16"),
    integerType<std::uint32_t>(TypeOfData_t::U32, "U32"),
    integerType<std::int32_t>(TypeOfData_t::S32, "S32"),
    TypeInfo{TypeOfData_t::CHAR, "CHAR", 1, 0, -1},
};

/** The entry of a type, or null for a value without a name. */
constexpr const TypeInfo* findType(TypeOfData_t type) noexcept
{
    for (const TypeInfo& info : namedTypes)
        if (info.type == type)
            return &info;
    return nullptr;
}

/** The type whose elements are of the C++ integer type T. */
template <typename T>
constexpr TypeOfData_t typeOfElement() noexcept
{
    for (const TypeInfo& info : namedTypes)
        if (info.isInteger() && info.elementSize == sizeof(T) &&
            (info.min < 0) == std::is_signed_v<T>)
            return info.type;
    return TypeOfData_t::UNDEFINED;
}

/** Writes the name that `names` has for `value`, or marks the value as invalid. */
template <typename Enum, typename Names>
std::ostream& streamEnum(std::ostream& stream, Enum value, const Names& names)
{
    const auto found = names.find(value);
    if (found != names.end())
        return stream << found->second;
    // The byte itself, not its digits: trace readers know the form.
    return stream << "INVALID_VALUE(" << static_cast<char>(value) << ')';
}

std::ostream& operator<<(std::ostream& stream, TypeOfData_t value);

} // namespace Varnix::Backend

#endif

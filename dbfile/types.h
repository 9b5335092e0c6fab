#ifndef VARNIX_DBFILE_TYPES_H
#define VARNIX_DBFILE_TYPES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Varnix::DbFile {

/** A type that has a name. `CHAR` has no numeric range: its value is text. */
struct Type
{
    std::uint8_t number;
    std::string_view name;
    std::size_t elementSize;
    std::int64_t min;
    std::int64_t max;
};

inline constexpr std::uint8_t undefinedType = 0;
inline constexpr std::uint8_t charType = 10;

inline constexpr std::array<Type, 7> namedTypes{{
    {2, "U8", 1, 0, UINT8_MAX},
    {3, "S8", 1, INT8_MIN, INT8_MAX},
    {4, "U16", 2, 0, UINT16_MAX},
    {5, "S16", 2, INT16_MIN, INT16_MAX},
    {6, "U32", 4, 0, UINT32_MAX},
    {7, "S32", 4, INT32_MIN, INT32_MAX},
    {charType, "CHAR", 1, 0, 0},
}};

/** The named type with this number, or null. */
const Type* findType(std::uint8_t number) noexcept;

/** The type with this name, or null. */
const Type* findType(std::string_view name) noexcept;

/** Whether `length` bytes are a whole number of the type's elements. */
bool isWhole(const Type& type, std::size_t length) noexcept;

/** Appends one element of an integer type; `value` must be in the type's range. */
void appendElement(std::string& data, const Type& type, std::int64_t value);

/** The element of an integer type at `index`; it must lie inside `data`. */
std::int64_t elementAt(std::string_view data, const Type& type, std::size_t index) noexcept;

} // namespace Varnix::DbFile

#endif

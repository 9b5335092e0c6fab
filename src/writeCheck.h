#ifndef VARNIX_WRITECHECK_H
#define VARNIX_WRITECHECK_H

#include "typeOfData.h"
#include "writeValues.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** Whether a store's parameter takes a write, and what that leaves. Pure: a tool asks the same
 * questions. */
namespace Varnix::Backend::WriteCheck {

/** Why integers may not be written. */
struct Refusal
{
    enum class Reason
    {
        NO_ELEMENTS, ///< the type has none
        TOO_MANY,
        OUT_OF_RANGE, ///< the index
        NO_FIT        ///< a value, in the type
    };

    Reason reason;
    TypeOfData_t type;
    std::uint32_t capacity = 0;
    std::size_t count = 0;
    unsigned char index = 0;
    std::int64_t value = 0;
};

/** Why `values` may not be written at `index` of `length` bytes of `type`; empty: they may. */
inline std::optional<Refusal> refusalOf(TypeOfData_t type, std::uint32_t length,
                                        const WriteValues& values, unsigned char index) noexcept
{
    using Reason = Refusal::Reason;
    const TypeInfo* const info = findType(type);
    if (info == nullptr || info->elementSize == 0)
        return Refusal{Reason::NO_ELEMENTS, type};
    const std::uint32_t capacity = length / info->elementSize;
    const std::size_t count = values.count();
    if (capacity < count)
        return Refusal{
            .reason = Reason::TOO_MANY, .type = type, .capacity = capacity, .count = count};
    if (count + index > capacity)
        return Refusal{.reason = Reason::OUT_OF_RANGE, .type = type, .index = index};
    const auto distinct = values.distinct();
    const auto unfit = std::find_if(distinct.begin(), distinct.end(),
                                    [&](std::int64_t value) { return !info->holds(value); });
    if (unfit != distinct.end())
        return Refusal{.reason = Reason::NO_FIT, .type = type, .value = *unfit};
    return std::nullopt;
}

/** The refusal in words. */
std::string describe(const Refusal& refusal);

/** Whether a parameter of `type` takes a text. */
constexpr bool takesText(TypeOfData_t type) noexcept
{
    return type == TypeOfData_t::CHAR;
}

/** That a parameter of `type` takes no text, in words. */
std::string describeNoText(TypeOfData_t type, std::string_view value);

/** The text that a write leaves. A vector, since a string keeps a short text on the stack. */
std::vector<char> textAfter(std::string_view oldText, std::string_view value, bool append);

/** Stores `values` from element `index` on, in elements of `size` bytes. */
inline void storeValues(unsigned char* data, unsigned int size, unsigned char index,
                        const WriteValues& values)
{
    if (size == 1)
        storeElements<std::uint8_t>(data, index, values);
    else if (size == 2)
        storeElements<std::uint16_t>(data, index, values);
    else
        storeElements<std::uint32_t>(data, index, values);
}

} // namespace Varnix::Backend::WriteCheck

#endif

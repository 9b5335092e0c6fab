#ifndef VARNIX_WRITEVALUES_H
#define VARNIX_WRITEVALUES_H

#include "forks.h"
#include "swapEnd.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace Varnix::Backend {

/** The integers of one write: those of a list, to which it refers, or one of them `count` times. */
class WriteValues
{
public:
    explicit WriteValues(const std::vector<std::int64_t>& list) noexcept
        : m_list(list.data()), m_count(list.size())
    {
    }
    WriteValues(std::int64_t value, std::size_t count) noexcept : m_repeated(value), m_count(count)
    {
    }

    std::size_t count() const noexcept { return m_count; }

    /** Every value that occurs, in order; a repeated one once. */
    std::span<const std::int64_t> distinct() const noexcept
    {
        if (m_list != nullptr)
            return {m_list, m_count};
        return {&m_repeated, m_count != 0 ? std::size_t{1} : 0};
    }

    std::int64_t operator[](std::size_t i) const noexcept
    {
        return m_list != nullptr ? m_list[i] : m_repeated;
    }

private:
    const std::int64_t* m_list = nullptr;
    std::int64_t m_repeated = 0;
    std::size_t m_count;
};

/** Stores the low bytes of `value`, big-endian. */
template <typename T>
void storeElement(unsigned char* data, std::size_t element, std::int64_t value) noexcept
{
    auto narrowed = static_cast<T>(value);
    DBUtils::SwapEnd(narrowed);
    std::memcpy(data + element * sizeof narrowed, &narrowed, sizeof narrowed);
}

/** Stores `values` from element `index` on. That is eight bits wide: element 0 follows 255. */
template <typename T>
void storeElements(unsigned char* data, unsigned char index, const WriteValues& values)
{
    Forks::makeWhole([data, index, values] {
        unsigned char element = index;
        for (std::size_t i = 0; i < values.count(); ++i)
            storeElement<T>(data, element++, values[i]);
    });
}

} // namespace Varnix::Backend

#endif

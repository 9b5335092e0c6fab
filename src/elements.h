#ifndef VARNIX_ELEMENTS_H
#define VARNIX_ELEMENTS_H

#include "dbUtils.h"

#include <cstddef>
#include <cstring>
#include <vector>

namespace Varnix::Backend {

/** Copies `count` big-endian elements at `data` to `elements`, in host order. */
template <typename T>
[[gnu::always_inline]] inline void copyElementsPlainly(T* elements, const unsigned char* data,
                                                       std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        T element;
        std::memcpy(&element, data + i * sizeof element, sizeof element);
        DBUtils::SwapEnd(element);
        elements[i] = element;
    }
}

#ifdef __x86_64__
/** The same loop with registers of 32 bytes: large values take half the time. */
template <typename T>
[[gnu::target("avx2")]] void copyElementsWidely(T* elements, const unsigned char* data,
                                                std::size_t count) noexcept
{
    copyElementsPlainly(elements, data, count);
}
#endif

template <typename T>
void copyElements(T* elements, const unsigned char* data, std::size_t count) noexcept
{
    if constexpr (sizeof(T) == 1) {
        if (count != 0)
            std::memcpy(elements, data, count);
        return;
    }
#ifdef __x86_64__
    constexpr std::size_t fewBytes = 64; // below, the loop is as fast
    if (count * sizeof(T) >= fewBytes && __builtin_cpu_supports("avx2"))
        return copyElementsWidely(elements, data, count);
#endif
    copyElementsPlainly(elements, data, count);
}

/** Replaces the content of `values` by `count` big-endian elements; grows at most once. */
template <typename T>
[[gnu::always_inline]] inline void assignElements(std::vector<T>& values, const unsigned char* data,
                                                  std::size_t count)
{
    if (count > values.capacity()) {
        values.clear();
        values.reserve(count);
    }
    values.resize(count);
    copyElements(values.data(), data, count);
}

} // namespace Varnix::Backend

#endif

#ifndef VARNIX_ELEMENTS_H
#define VARNIX_ELEMENTS_H

#include "swapEnd.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

#ifdef __x86_64__
#include <immintrin.h>
#endif

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
/** The same with registers of 32 bytes, four at a time as long as there are as many. */
template <typename T>
[[gnu::target("avx2")]] void copyElementsWidely(T* elements, const unsigned char* data,
                                                std::size_t count) noexcept
{
    alignas(32) static constexpr auto order = [] {
        std::array<unsigned char, 32> from{};
        for (std::size_t i = 0; i < from.size(); ++i)
            from[i] = static_cast<unsigned char>(i % 16 ^ (sizeof(T) - 1));
        return from;
    }();
    const __m256i swap = _mm256_load_si256(reinterpret_cast<const __m256i*>(order.data()));
    constexpr std::size_t atOnce = sizeof swap / sizeof(T);
    const auto step = [&](std::size_t at) __attribute__((always_inline, target("avx2")))
    {
        const __m256i* const from = reinterpret_cast<const __m256i*>(data + at * sizeof(T));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(elements + at),
                            _mm256_shuffle_epi8(_mm256_loadu_si256(from), swap));
    };
    std::size_t i = 0;
    for (; i + 4 * atOnce <= count; i += 4 * atOnce) {
        step(i);
        step(i + atOnce);
        step(i + 2 * atOnce);
        step(i + 3 * atOnce);
    }
    for (; i + atOnce <= count; i += atOnce)
        step(i);
    copyElementsPlainly(elements + i, data + i * sizeof(T), count - i);
}
#endif

template <typename T>
void copyElements(T* elements, const unsigned char* data, std::size_t count) noexcept
{
    if constexpr (sizeof(T) == 1) {
        if (count != 0)
            std::memcpy(elements, data, count);
        return;
    } else {
#ifdef __x86_64__
        constexpr std::size_t fewBytes = 64; // below, the loop is as fast
        if (count * sizeof(T) >= fewBytes && __builtin_cpu_supports("avx2"))
            return copyElementsWidely(elements, data, count);
#endif
        copyElementsPlainly(elements, data, count);
    }
}

template <typename T>
[[gnu::noinline, gnu::cold]] void changeSize(std::vector<T>& values, std::size_t count)
{
    if (count > values.capacity()) {
        values.clear();
        values.reserve(count);
    }
    values.resize(count);
}

/** Replaces the content of `values` by `count` big-endian elements; grows at most once. */
template <typename T>
[[gnu::always_inline]] inline void assignElements(std::vector<T>& values, const unsigned char* data,
                                                  std::size_t count)
{
    if (values.size() != count) [[unlikely]]
        changeSize(values, count);
    copyElements(values.data(), data, count);
}

} // namespace Varnix::Backend

#endif

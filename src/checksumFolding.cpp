#include "checksumFolding.h"

#include "checksumTable.h"

#include <cstddef>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#define VARNIX_FOLDING [[gnu::target("pclmul,sse4.1")]]
#elif defined(__aarch64__)
#include <arm_neon.h>
#include <sys/auxv.h>
#define VARNIX_FOLDING [[gnu::target("+crypto")]]
#endif

namespace Varnix::Backend::Checksum {

namespace {

/*
 * The bytes are the coefficients of a polynomial, the first bit of the first byte the highest one,
 * and the CRC is its remainder. A vector X of 128 coefficients that is followed by D more weighs
 * X * x^D. Multiplied by the remainder of x^D it weighs the same and is short enough to be added to
 * the vector D places on: so many bytes are gone, the remainder has stayed.
 *
 * Each half of a vector has a factor of its own: that of the first half is for 64 places more.
 * A product of two numbers with the highest coefficient in bit 0 comes out one place too high,
 * hence D - 1.
 */

/** The remainder of x^exponent, the highest of 64 coefficients in bit 0. */
constexpr std::uint64_t factor(unsigned int exponent) noexcept
{
    unsigned int remainder = 0x8000; // x^0
    for (; exponent != 0; --exponent)
        remainder = (remainder & 1U) != 0 ? (remainder >> 1U) ^ polynomial : remainder >> 1U;
    return std::uint64_t{remainder} << 48U;
}

struct Factors
{
    std::uint64_t first;
    std::uint64_t second;
};

constexpr Factors factorsFor(unsigned int distance) noexcept
{
    return {factor(distance + 64 - 1), factor(distance - 1)};
}

constexpr std::size_t lanes = foldedBlock / sizeof(Folded);
constexpr Factors byVector = factorsFor(8 * sizeof(Folded));
constexpr Factors byBlock = factorsFor(8 * foldedBlock);

#if defined(__x86_64__)

using Vector = __m128i;

VARNIX_FOLDING inline Vector load(const void* bytes) noexcept
{
    return _mm_loadu_si128(static_cast<const Vector*>(bytes));
}

VARNIX_FOLDING inline Vector add(Vector a, Vector b) noexcept
{
    return _mm_xor_si128(a, b);
}

VARNIX_FOLDING inline Vector multiply(Vector value, Vector factors) noexcept
{
    return add(_mm_clmulepi64_si128(value, factors, 0x00),
               _mm_clmulepi64_si128(value, factors, 0x11));
}

#elif defined(__aarch64__)

using Vector = uint64x2_t;

VARNIX_FOLDING inline Vector load(const void* bytes) noexcept
{
    return vreinterpretq_u64_u8(vld1q_u8(static_cast<const std::uint8_t*>(bytes)));
}

VARNIX_FOLDING inline Vector add(Vector a, Vector b) noexcept
{
    return veorq_u64(a, b);
}

VARNIX_FOLDING inline Vector multiply(Vector value, Vector factors) noexcept
{
    const poly64x2_t a = vreinterpretq_p64_u64(value);
    const poly64x2_t b = vreinterpretq_p64_u64(factors);
    return add(vreinterpretq_u64_p128(vmull_p64(vgetq_lane_p64(a, 0), vgetq_lane_p64(b, 0))),
               vreinterpretq_u64_p128(vmull_high_p64(a, b)));
}

#endif

} // namespace

#ifdef VARNIX_FOLDING

bool canFold() noexcept
{
#if defined(__x86_64__)
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
#else
    constexpr unsigned long pmull = 1UL << 4U; // HWCAP_PMULL
    return (getauxval(AT_HWCAP) & pmull) != 0;
#endif
}

VARNIX_FOLDING Folded fold(std::uint16_t crc, const unsigned char* data,
                           std::uint32_t blocks) noexcept
{
    // As many at once as hide how long a product takes.
    Vector sums[lanes];
    for (std::size_t lane = 0; lane < lanes; ++lane)
        sums[lane] = load(data + lane * sizeof(Vector));
    const Factors start{crc, 0};
    sums[0] = add(sums[0], load(&start)); // the CRC so far is added to the first bytes
    const Vector ahead = load(&byBlock);
    while (--blocks != 0) {
        data += foldedBlock;
        for (std::size_t lane = 0; lane < lanes; ++lane)
            sums[lane] = add(multiply(sums[lane], ahead), load(data + lane * sizeof(Vector)));
    }
    const Vector next = load(&byVector);
    Vector sum = sums[0];
    for (std::size_t lane = 1; lane < lanes; ++lane)
        sum = add(multiply(sum, next), sums[lane]);
    Folded folded;
    std::memcpy(folded.data(), &sum, sizeof folded);
    return folded;
}

#else

bool canFold() noexcept
{
    return false;
}

Folded fold(std::uint16_t, const unsigned char*, std::uint32_t) noexcept
{
    return {}; // never asked: canFold() says no
}

#endif

} // namespace Varnix::Backend::Checksum

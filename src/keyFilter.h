#ifndef VARNIX_KEYFILTER_H
#define VARNIX_KEYFILTER_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Varnix::Backend {

/**
 * Tells most keys that a store does not hold from those that it may, by two bits of their hash.
 *
 * Nearly every read asks the production store for a key that only the component store holds; a look
 * at one word is a fifth of a failed look into the table.
 */
class KeyFilter
{
public:
    /** A filter with room for `keys` keys. */
    explicit KeyFilter(std::size_t keys = 0)
        : m_words(std::bit_ceil(keys * bitsPerKey / bitsPerWord + 1)), m_mask(m_words.size() - 1)
    {
    }

    void add(std::size_t hash) noexcept { m_words[word(hash)] |= bits(hash); }

    /** False only for a key that was not added. */
    bool mayHold(std::size_t hash) const noexcept
    {
        return (~m_words[word(hash)] & bits(hash)) == 0;
    }

private:
    static constexpr std::size_t bitsPerKey = 16;
    static constexpr std::size_t bitsPerWord = 64;

    std::size_t word(std::size_t hash) const noexcept { return (hash >> 12U) & m_mask; }
    static std::uint64_t bits(std::size_t hash) noexcept
    {
        return std::uint64_t{1} << (hash % bitsPerWord) | std::uint64_t{1}
                                                              << (hash / bitsPerWord % bitsPerWord);
    }

    std::vector<std::uint64_t> m_words;
    std::size_t m_mask;
};

} // namespace Varnix::Backend

#endif

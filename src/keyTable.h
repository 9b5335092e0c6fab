#ifndef VARNIX_KEYTABLE_H
#define VARNIX_KEYTABLE_H

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory_resource>
#include <string_view>
#include <vector>

namespace Varnix::Backend {

/** A key with its hash, computed once however many stores are asked. Refers to the key's text. */
struct ParamKey
{
    template <typename Text>
    requires std::convertible_to<const Text&, std::string_view> ParamKey(const Text& key)
    noexcept : text(key), hash(std::hash<std::string_view>()(text)) {}

    std::string_view text;
    std::size_t hash;
};

/**
 * An unordered map from keys to values that never forgets a key.
 *
 * The entries stand in one array, in the order in which they came. Slots, a power of two and at
 * least twice as many, lead to them: a key is looked for from the slot that its hash names onwards,
 * up to the first empty one. A slot holds a part of the hash, so that hardly any entry but the
 * right one is looked at. One step to a slot and one to an entry is less than half of what the
 * nodes of the standard map cost where they are not in a cache.
 */
template <typename Value>
class KeyTable
{
public:
    struct Entry
    {
        ParamKey key;
        Value value;
    };
    using const_iterator = const Entry*;

    std::size_t size() const noexcept { return m_entries.size(); }
    const_iterator begin() const noexcept { return m_entries.data(); }
    const_iterator end() const noexcept { return begin() + size(); }

    /** The key's entry, or end(). */
    const_iterator find(const ParamKey& key) const noexcept
    {
        const std::uint32_t entry = m_slots[slotOf(key)].entry;
        return entry != 0 ? begin() + entry - 1 : end();
    }

    /** The key's value, or null. */
    Value* findValue(const ParamKey& key) noexcept
    {
        const std::uint32_t entry = m_slots[slotOf(key)].entry;
        return entry != 0 ? &m_entries[entry - 1].value : nullptr;
    }

    /** The key's value, made first if there is none. Later insertions may move it. */
    Value& findOrInsert(const ParamKey& key)
    {
        if (size() + 1 > m_slots.size() / slotsPerEntry)
            rehash(m_slots.size() * 2);
        Slot& slot = m_slots[slotOf(key)];
        if (slot.entry == 0) {
            m_entries.push_back({copyOf(key), Value()});
            slot = {tagOf(key), static_cast<std::uint32_t>(size())};
        }
        return m_entries[slot.entry - 1].value;
    }

    /** Makes room for `count` entries in all. */
    void reserve(std::size_t count)
    {
        m_entries.reserve(count);
        if (count > m_slots.size() / slotsPerEntry)
            rehash(std::bit_ceil(count * slotsPerEntry));
    }

private:
    static constexpr std::size_t slotsPerEntry = 2;

    struct Slot
    {
        std::uint32_t tag = 0;
        std::uint32_t entry = 0; ///< its number, from 1; 0 in an empty slot
    };

    static std::uint32_t tagOf(const ParamKey& key) noexcept
    {
        return static_cast<std::uint32_t>(key.hash >> 32U);
    }

    /** Where the key is, or else where it would have to be put. */
    std::size_t slotOf(const ParamKey& key) const noexcept
    {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t i = key.hash & mask;
        for (; m_slots[i].entry != 0; i = (i + 1) & mask) {
            if (m_slots[i].tag == tagOf(key) &&
                m_entries[m_slots[i].entry - 1].key.text == key.text)
                break;
        }
        return i;
    }

    void rehash(std::size_t slots)
    {
        m_slots.assign(slots, Slot());
        for (std::size_t i = 0; i < size(); ++i) {
            const ParamKey& key = m_entries[i].key;
            m_slots[slotOf(key)] = {tagOf(key), static_cast<std::uint32_t>(i + 1)};
        }
    }

    /** The key with a text of its own. */
    ParamKey copyOf(ParamKey key)
    {
        auto* const text = static_cast<char*>(m_texts.allocate(key.text.size(), 1));
        std::copy(key.text.begin(), key.text.end(), text);
        key.text = {text, key.text.size()};
        return key;
    }

    std::vector<Slot> m_slots = std::vector<Slot>(2);
    std::vector<Entry> m_entries;
    std::pmr::monotonic_buffer_resource m_texts;
};

} // namespace Varnix::Backend

#endif

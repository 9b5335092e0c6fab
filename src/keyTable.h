#ifndef VARNIX_KEYTABLE_H
#define VARNIX_KEYTABLE_H

#include "pages.h"
#include "textArena.h"

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace Varnix::Backend {

/** A key with its hash, computed once however many stores are asked. Refers to the key's text. */
struct ParamKey
{
    template <typename Text>
    requires std::convertible_to<const Text&, std::string_view> ParamKey(const Text& key)
    noexcept : text(key), hash(static_cast<std::uint32_t>(std::hash<std::string_view>()(text))) {}
    ParamKey(std::string_view keyText, std::uint32_t keyHash) noexcept
        : text(keyText), hash(keyHash)
    {
    }

    std::string_view text;
    std::uint32_t hash;
};

/**
 * An unordered map from keys to values that never forgets a key.
 *
 * The entries are in one array, in the order in which they came. Slots, a power of two and at
 * least twice as many, lead to them: a key is looked for from the slot that its hash names onwards,
 * up to the first empty one. One step to a slot and one to an entry is less than half of what the
 * nodes of the standard map cost where they are not in a cache.
 *
 * A load costs what it touches, so a slot is one word. Its low bits, as many as choose a slot, are
 * the entry's number, counted from 1; the others are those of the hash, so that hardly any entry
 * but the right one is looked at.
 */
template <typename Value>
class KeyTable
{
public:
    struct Entry
    {
        std::string_view key() const noexcept { return {text, length}; }

        const char* text; ///< owned by the table
        std::uint32_t length;
        std::uint32_t hash;
        Value value;
    };
    using const_iterator = const Entry*;

    std::size_t size() const noexcept { return m_entries.size(); }
    const_iterator begin() const noexcept { return m_entries.data(); }
    const_iterator end() const noexcept { return begin() + size(); }

    /** The key's entry, or null. */
    const Entry* find(const ParamKey& key) const noexcept
    {
        for (std::size_t i = key.hash & m_mask; m_slots[i] != emptySlot; i = (i + 1) & m_mask) {
            if (((m_slots[i] ^ key.hash) & ~m_mask) != 0)
                continue;
            const Entry& entry = m_entries[(m_slots[i] & m_mask) - 1];
            if (entry.key() == key.text)
                return &entry;
        }
        return nullptr;
    }

    /** The key's value, or null. */
    Value* findValue(const ParamKey& key) noexcept
    {
        const Entry* const entry = find(key);
        return entry != nullptr ? &m_entries[static_cast<std::size_t>(entry - begin())].value
                                : nullptr;
    }

    /** The key's value, made first if there is none. Later insertions may move it. */
    Value& findOrInsert(const ParamKey& key)
    {
        if (Value* const value = findValue(key))
            return *value;
        if (size() + 1 > m_slots.size() / slotsPerEntry)
            rehash(m_slots.size() * 2);
        const auto length = static_cast<std::uint32_t>(key.text.size());
        m_entries.push_back({m_texts.copyOf(key.text), length, key.hash, Value()});
        fillSlot(key.hash, size());
        return m_entries.back().value;
    }

    /** Calls `act` with the value of every key that `other` holds too. */
    template <typename Act>
    void forEachKeyOf(const KeyTable& other, const Act& act)
    {
        if (other.size() < size()) {
            for (const Entry& entry : other)
                if (Value* const value = findValue({entry.key(), entry.hash}))
                    act(*value);
            return;
        }
        for (Entry& entry : m_entries)
            if (other.find({entry.key(), entry.hash}) != nullptr)
                act(entry.value);
    }

    /** Starts to fetch what a look for the key reads first. */
    void prefetch(const ParamKey& key) const noexcept
    {
        __builtin_prefetch(&m_slots[key.hash & m_mask]);
    }

    /**
     * Makes room for `count` more entries with keys of `textSize` bytes in all, and for others
     * where these are not the first: they may have been counted in vain, for keys that are there.
     */
    void reserve(std::size_t count, std::size_t textSize)
    {
        if (m_entries.empty()) {
            m_entries.reserve(count);
            populatePages(m_entries.data(), count * sizeof(Entry));
            m_texts.reserve(textSize);
        }
        count += size();
        if (count > m_entries.capacity()) {
            m_entries.reserve(std::max(count, growth * m_entries.capacity()));
            preferHugePages(m_entries.data(), count * sizeof(Entry));
        }
        if (count > m_slots.size() / slotsPerEntry)
            rehash(std::bit_ceil(count * slotsPerEntry));
    }

private:
    using Slot = std::uint32_t;
    static constexpr Slot emptySlot = 0;
    static constexpr std::size_t slotsPerEntry = 2;
    /** Of the room for entries, so that they are seldom copied; unused room is not resident. */
    static constexpr std::size_t growth = 4;

    /** Leads to the entry of that number, counted from 1, from the first slot that is empty. */
    void fillSlot(std::uint32_t hash, std::size_t number) noexcept
    {
        std::size_t i = hash & m_mask;
        while (m_slots[i] != emptySlot)
            i = (i + 1) & m_mask;
        m_slots[i] = (hash & ~m_mask) | static_cast<Slot>(number);
    }

    void rehash(std::size_t slots)
    {
        std::vector<Slot> empty;
        empty.reserve(slots);
        populatePages(empty.data(), slots * sizeof(Slot));
        empty.assign(slots, emptySlot);
        m_slots = std::move(empty);
        m_mask = static_cast<Slot>(slots - 1);
        for (std::size_t number = 1; number <= size(); ++number)
            fillSlot(m_entries[number - 1].hash, number);
    }

    std::vector<Slot> m_slots = std::vector<Slot>(slotsPerEntry);
    /** The bits of a hash that choose a slot, and those of a slot that number an entry. */
    Slot m_mask = slotsPerEntry - 1;
    std::vector<Entry> m_entries;
    TextArena m_texts;
};

} // namespace Varnix::Backend

#endif

#include "keyTable.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

namespace Varnix::Backend {

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

class KeyTables : public testing::Test
{
protected:
    /** A key with a hash of the test's choice. Its text has to stay. */
    static ParamKey hashed(std::string_view text, std::uint32_t hash)
    {
        ParamKey key(text);
        key.hash = hash;
        return key;
    }

    static std::string nameOf(int number) { return "/unit/p" + std::to_string(number); }

    /** Inserts the keys numbered from `first` to before `end`, each with its number. */
    void fill(int first, int end)
    {
        for (int number = first; number < end; ++number)
            table.findOrInsert(nameOf(number)) = number;
    }

    /** What the keys numbered from 0 to before `end` lead to; -1 where a key is missing. */
    std::vector<int> found(int end) const
    {
        std::vector<int> values = numbersTo(end);
        for (int& value : values)
            value = valueOf(nameOf(value));
        return values;
    }

    int valueOf(const ParamKey& key) const
    {
        const auto* const entry = table.find(key);
        return entry != nullptr ? entry->value : -1;
    }

    std::vector<std::string> keysInOrder() const
    {
        std::vector<std::string> keys;
        for (const auto& entry : table)
            keys.emplace_back(entry.key());
        return keys;
    }

    static std::vector<int> numbersTo(int end)
    {
        std::vector<int> numbers(static_cast<std::size_t>(end));
        std::iota(numbers.begin(), numbers.end(), 0);
        return numbers;
    }

    KeyTable<int> table;
};

TEST_F(KeyTables, AnEmptyTableHoldsNoKey)
{
    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.begin(), table.end());
    EXPECT_EQ(table.find("/a"), nullptr);
    EXPECT_EQ(table.find(""), nullptr);
    EXPECT_EQ(table.findValue("/a"), nullptr);
}

TEST_F(KeyTables, ReservingMakesNoEntry)
{
    table.reserve(100, 0);

    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.find("/a"), nullptr);
}

TEST_F(KeyTables, ANewKeyHasTheValueOfNothing)
{
    EXPECT_EQ(table.findOrInsert("/a"), 0);
    EXPECT_EQ(valueOf("/a"), 0);
}

TEST_F(KeyTables, AKeyThatIsThereKeepsItsValueAndItsEntry)
{
    table.findOrInsert("/a") = 1;
    table.findOrInsert("/b") = 2;

    EXPECT_EQ(table.findOrInsert("/a"), 1);
    table.findOrInsert("/a") = 3;

    EXPECT_EQ(table.size(), 2U);
    EXPECT_EQ(valueOf("/a"), 3);
    EXPECT_EQ(valueOf("/b"), 2);
}

TEST_F(KeyTables, AFoundValueCanBeChanged)
{
    table.findOrInsert("/a") = 1;

    *table.findValue("/a") = 2;

    EXPECT_EQ(valueOf("/a"), 2);
}

TEST_F(KeyTables, TheEmptyTextIsAKey)
{
    table.findOrInsert("") = 1;

    EXPECT_EQ(valueOf(""), 1);
    EXPECT_EQ(valueOf("/a"), -1);
}

TEST_F(KeyTables, EveryKeyIsFoundWhileTheTableGrows)
{
    for (int number = 0; number < 300; ++number) {
        fill(number, number + 1);
        ASSERT_THAT(found(number + 1), ElementsAreArray(numbersTo(number + 1)));
        ASSERT_EQ(table.find(nameOf(number + 1)), nullptr);
    }
    EXPECT_EQ(table.size(), 300U);
}

TEST_F(KeyTables, EveryKeyIsFoundWithinWhatWasReservedAndBeyond)
{
    table.reserve(100, 0);
    fill(0, 100);
    EXPECT_THAT(found(100), ElementsAreArray(numbersTo(100)));

    fill(100, 1000);
    EXPECT_THAT(found(1000), ElementsAreArray(numbersTo(1000)));
}

TEST_F(KeyTables, ReservingForLaterFillsKeepsWhatIsThere)
{
    int first = 0;
    for (const int end : {3, 50, 51, 128, 129, 400}) { // 128 fill what was reserved
        table.reserve(static_cast<std::size_t>(end - first), 16);
        EXPECT_THAT(found(first), ElementsAreArray(numbersTo(first)));
        fill(first, end);
        first = end;
    }
    table.reserve(0, 0);

    EXPECT_EQ(table.size(), 400U);
    EXPECT_THAT(found(400), ElementsAreArray(numbersTo(400)));
}

TEST_F(KeyTables, ReservingALittleMoreAgainAndAgainMovesTheEntriesSeldom)
{
    int moves = 0;
    for (int number = 0; number < 1000; ++number) {
        const auto* const before = table.begin();
        table.reserve(1, 8);
        moves += table.begin() == before ? 0 : 1;
        fill(number, number + 1);
    }
    EXPECT_LE(moves, 6); // 1, 4, 16 ... 1024
}

TEST_F(KeyTables, EntriesAreInTheOrderInWhichTheyCame)
{
    for (const char* const key : {"/z", "/a", "/m", "/a", "/b", "/z", "/c"})
        table.findOrInsert(key);

    EXPECT_THAT(keysInOrder(), ElementsAre("/z", "/a", "/m", "/b", "/c"));
}

TEST_F(KeyTables, TheTableOwnsTheTextOfItsKeys)
{
    std::string key = "/a key that is too long for the string itself";
    const std::string same = key;
    table.findOrInsert(key) = 1;

    key.assign(key.size(), 'x');

    EXPECT_EQ(valueOf(same), 1);
    EXPECT_EQ(valueOf(key), -1);
    EXPECT_THAT(keysInOrder(), ElementsAre(same));
}

TEST_F(KeyTables, KeysStayWhateverWasReservedForTheirTexts)
{
    for (const std::size_t textSize : {0U, 1U, 7U, 100U, 100000U}) {
        KeyTable<int> filled;
        filled.reserve(3, textSize);
        std::vector<std::string> keys;
        for (std::size_t i = 0; i < 40; ++i)
            keys.emplace_back(i * i, static_cast<char>('a' + i % 26));
        for (const std::string& key : keys)
            filled.findOrInsert(key);
        std::vector<std::string> kept;
        for (const auto& entry : filled)
            kept.emplace_back(entry.key());
        EXPECT_THAT(kept, ElementsAreArray(keys)) << textSize;
    }
}

TEST_F(KeyTables, KeysDifferWhereverTheyDiffer)
{
    const std::string stem(1000, 'k');
    const std::vector<std::string> keys = {stem,       stem + 'a',  stem + 'b',
                                           'a' + stem, stem + '\0', stem.substr(1)};
    // One hash for all, so that the text alone tells them apart.
    for (std::size_t i = 0; i < keys.size(); ++i)
        table.findOrInsert(hashed(keys[i], 1)) = static_cast<int>(i);

    EXPECT_THAT(keysInOrder(), ElementsAreArray(keys));
    for (std::size_t i = 0; i < keys.size(); ++i)
        EXPECT_EQ(valueOf(hashed(keys[i], 1)), static_cast<int>(i));
}

TEST_F(KeyTables, KeysOfOneHashAreKeptApart)
{
    table.findOrInsert(hashed("/a", 7)) = 1;
    table.findOrInsert(hashed("/b", 7)) = 2;
    table.findOrInsert(hashed("/c", 7)) = 3;

    EXPECT_EQ(valueOf(hashed("/a", 7)), 1);
    EXPECT_EQ(valueOf(hashed("/b", 7)), 2);
    EXPECT_EQ(valueOf(hashed("/c", 7)), 3);
    EXPECT_EQ(valueOf(hashed("/d", 7)), -1);
}

TEST_F(KeyTables, KeysOfOneSlotAreKeptApart)
{
    // Eight slots; the low three bits of all these hashes are equal.
    table.reserve(4, 16);
    table.findOrInsert(hashed("/a", 0x00000005)) = 1;
    table.findOrInsert(hashed("/b", 0x80000005)) = 2;
    table.findOrInsert(hashed("/c", 0x0000000D)) = 3;

    EXPECT_EQ(valueOf(hashed("/a", 0x00000005)), 1);
    EXPECT_EQ(valueOf(hashed("/b", 0x80000005)), 2);
    EXPECT_EQ(valueOf(hashed("/c", 0x0000000D)), 3);
    EXPECT_EQ(valueOf(hashed("/d", 0x0000000D)), -1);
}

TEST_F(KeyTables, ARunOfSlotsGoesOnAtTheFirst)
{
    // Eight slots; all these start at the last one.
    table.reserve(4, 16);
    for (int number = 0; number < 4; ++number)
        table.findOrInsert(hashed(nameOf(number), 7)) = number;

    for (int number = 0; number < 4; ++number)
        EXPECT_EQ(valueOf(hashed(nameOf(number), 7)), number);
    EXPECT_EQ(valueOf(hashed("/none", 0)), -1);
}

TEST_F(KeyTables, CollidingKeysAreFoundAfterGrowth)
{
    // Alike in their lowest 8, 16, 24 bits or in all: they part at different sizes or never.
    const auto hashOf = [](int number) {
        constexpr std::uint32_t hashes[] = {0x00000011, 0x00000111, 0x00010011, 0x11000011};
        return hashes[number % 4];
    };
    for (int number = 0; number < 200; ++number)
        table.findOrInsert(hashed(nameOf(number), hashOf(number))) = number;

    for (int number = 0; number < 200; ++number)
        EXPECT_EQ(valueOf(hashed(nameOf(number), hashOf(number))), number);
    EXPECT_EQ(valueOf(hashed("/none", hashOf(0))), -1);
}

TEST_F(KeyTables, HashesAtBothEndsOfTheirRangeServe)
{
    constexpr std::uint32_t greatest = 0xFFFFFFFF;
    table.findOrInsert(hashed("/a", 0)) = 1;
    table.findOrInsert(hashed("/b", greatest)) = 2;
    fill(0, 100);

    EXPECT_EQ(valueOf(hashed("/a", 0)), 1);
    EXPECT_EQ(valueOf(hashed("/b", greatest)), 2);
    EXPECT_EQ(valueOf(hashed("/a", greatest)), -1);
}

TEST_F(KeyTables, KeysOfAnotherTableAreFoundWhicheverIsTheLarger)
{
    for (const int others : {1, 5, 50}) {
        KeyTable<int> other;
        for (int number = 0; number < others; ++number)
            other.findOrInsert(nameOf(2 * number)) = -1; // the even ones, beyond the table too
        KeyTable<int> five;
        for (int number = 0; number < 5; ++number)
            five.findOrInsert(nameOf(number)) = number;

        std::vector<int> met;
        five.forEachKeyOf(other, [&](int& value) {
            met.push_back(value);
            value = 100;
        });

        std::vector<int> expected = {0, 2, 4};
        expected.resize(std::min(expected.size(), static_cast<std::size_t>(others)));
        EXPECT_THAT(met, testing::UnorderedElementsAreArray(expected)) << others;
        for (int number = 0; number < 5; ++number) {
            const bool isMet = std::find(met.begin(), met.end(), number) != met.end();
            EXPECT_EQ(*five.findValue(nameOf(number)), isMet ? 100 : number);
        }
    }
}

TEST_F(KeyTables, PrefetchingAKeyMakesNoEntry)
{
    table.prefetch("/a");

    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.find("/a"), nullptr);
}

} // namespace

} // namespace Varnix::Backend

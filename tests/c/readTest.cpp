#include "cFixture.h"
#include "tests/support/process.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Varnix::Test;

class CRead : public CFixture
{
};

template <typename T>
using Get = varnix_status (*)(const varnix_database*, const char*, T*, size_t, size_t*);
template <typename T>
using Visit = varnix_status (*)(const varnix_database*, const char*,
                                void (*)(const T*, size_t, void*), void*);

/** Reads a key in all ways: with every room from none to more than enough, and by a visit. */
template <typename T>
void expectElements(const varnix_database* database, const char* key,
                    const std::vector<T>& expected, Get<T> get, Visit<T> visit)
{
    for (std::size_t capacity = 0; capacity <= expected.size() + 1; ++capacity) {
        std::vector<T> values(expected.size() + 1, T{99});
        std::size_t count = 1000;
        const bool fits = capacity >= expected.size();
        EXPECT_EQ(get(database, key, values.data(), capacity, &count),
                  fits ? VARNIX_OK : VARNIX_NO_ROOM);
        EXPECT_EQ(count, expected.size());
        std::vector<T> after(expected.size() + 1, T{99});
        if (fits)
            std::copy(expected.begin(), expected.end(), after.begin());
        EXPECT_EQ(values, after) << key << " with room for " << capacity;
    }
    std::size_t count = 1000;
    EXPECT_EQ(get(database, key, nullptr, 0, &count),
              expected.empty() ? VARNIX_OK : VARNIX_NO_ROOM);
    EXPECT_EQ(count, expected.size());

    std::vector<std::vector<T>> visited;
    const auto keep = [](const T* values, size_t number, void* context) {
        ASSERT_NE(values, nullptr);
        static_cast<std::vector<std::vector<T>>*>(context)->emplace_back(values, values + number);
    };
    EXPECT_EQ(visit(database, key, keep, &visited), VARNIX_OK);
    EXPECT_EQ(visited, std::vector<std::vector<T>>{expected}) << key;
}

void keepText(const char* text, size_t length, void* context)
{
    EXPECT_EQ(text[length], '\0');
    static_cast<std::vector<std::string>*>(context)->emplace_back(text, length);
}

/** What visits of a key say: the text as one, and the words. */
std::pair<std::vector<std::string>, std::vector<std::string>>
visitTexts(const varnix_database* database, const char* key)
{
    std::pair<std::vector<std::string>, std::vector<std::string>> visited;
    EXPECT_EQ(varnix_visit_text(database, key, keepText, &visited.first), VARNIX_OK);
    EXPECT_EQ(varnix_visit_words(database, key, keepText, &visited.second), VARNIX_OK);
    return visited;
}

TEST_F(CRead, EveryTypeFitsExactlyItsNumberOfElements)
{
    const varnix_database* const db = m_handle.get();
    expectElements<std::uint32_t>(db, "/u32", {0, 4294967295}, varnix_get_u32, varnix_visit_u32);
    expectElements<std::uint16_t>(db, "/u16", {0, 258, 65535}, varnix_get_u16, varnix_visit_u16);
    expectElements<std::uint8_t>(db, "/u8", {0, 255}, varnix_get_u8, varnix_visit_u8);
    expectElements<std::int32_t>(db, "/s32", {-2147483647 - 1, 2147483647, -1}, varnix_get_s32,
                                 varnix_visit_s32);
    expectElements<std::int16_t>(db, "/s16", {-32768, 32767, -2}, varnix_get_s16, varnix_visit_s16);
    expectElements<std::int8_t>(db, "/s8", {-128, 127}, varnix_get_s8, varnix_visit_s8);
}

TEST_F(CRead, AnEmptyValueIsVisitedToo)
{
    const std::string file = node().configuration(
        "empty.cfg",
        {{"board",
          "1",
          {node().database("emptying.db", DbBuilder().u16("/u16", {}).text("/text", "")),
           node().database("emptied.db", everyType())}}});
    varnix_database* opened = nullptr;
    ASSERT_EQ(varnix_open(file.c_str(), &opened), VARNIX_OK);
    const CHandle handle(opened);
    expectElements<std::uint16_t>(handle.get(), "/u16", {}, varnix_get_u16, varnix_visit_u16);
    const auto visited = visitTexts(handle.get(), "/text");
    EXPECT_EQ(visited.first, std::vector<std::string>{""});
    EXPECT_EQ(visited.second, std::vector<std::string>{});
}

TEST_F(CRead, ATextFitsWithItsEnd)
{
    const std::string value = "  two  words ";
    std::string text(value.size() + 1, '#');
    std::size_t length = 1000;
    EXPECT_EQ(varnix_get_text(m_handle.get(), "/text", nullptr, 0, &length), VARNIX_NO_ROOM);
    EXPECT_EQ(length, value.size());
    length = 1000;
    EXPECT_EQ(varnix_get_text(m_handle.get(), "/text", text.data(), value.size(), &length),
              VARNIX_NO_ROOM);
    EXPECT_EQ(length, value.size());
    EXPECT_EQ(text, std::string(value.size() + 1, '#'));
    EXPECT_EQ(varnix_get_text(m_handle.get(), "/text", text.data(), value.size() + 1, &length),
              VARNIX_OK);
    EXPECT_EQ(text, value + '\0');
    EXPECT_EQ(visitTexts(m_handle.get(), "/text").first, std::vector<std::string>{value});
}

TEST_F(CRead, WordsFitOneAfterTheOther)
{
    const std::string expected("two\0words\0", 10);
    std::string words(12, '#');
    std::size_t size = 1000;
    std::size_t count = 1000;
    EXPECT_EQ(varnix_get_words(m_handle.get(), "/text", words.data(), 9, &size, &count),
              VARNIX_NO_ROOM);
    EXPECT_EQ(std::pair(size, count), std::pair(std::size_t{10}, std::size_t{2}));
    EXPECT_EQ(words, std::string(12, '#'));
    EXPECT_EQ(varnix_get_words(m_handle.get(), "/text", words.data(), 10, &size, &count),
              VARNIX_OK);
    EXPECT_EQ(std::pair(size, count), std::pair(std::size_t{10}, std::size_t{2}));
    EXPECT_EQ(words, expected + "##");
    EXPECT_EQ(visitTexts(m_handle.get(), "/text").second,
              (std::vector<std::string>{"two", "words"}));
}

TEST_F(CRead, TextsAndWordsKeepTheirNulBytes)
{
    const std::string value("a\0b c", 5);
    const CHandle handle = open(DbBuilder().text("/text", value));
    std::string text(6, '#');
    std::size_t length = 0;
    EXPECT_EQ(varnix_get_text(handle.get(), "/text", text.data(), 6, &length), VARNIX_OK);
    EXPECT_EQ(text, value + '\0');
    EXPECT_EQ(visitTexts(handle.get(), "/text").second,
              (std::vector<std::string>{std::string("a\0b", 3), "c"}));
}

TEST_F(CRead, ProductionGoesFirst)
{
    const CHandle handle = open(DbBuilder().u16("/both", {2}).u8("/textInProduction", {1}));
    expectElements<std::uint16_t>(handle.get(), "/both", {1}, varnix_get_u16, varnix_visit_u16);
    std::size_t count = 0;
    EXPECT_EQ(varnix_get_u8(handle.get(), "/textInProduction", nullptr, 0, &count),
              VARNIX_TYPE_MISMATCH);
}

TEST_F(CRead, AProgramInC99ReadsEverything)
{
    const ProcessResult result = run({C_CLIENT, configuration(everyType())});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "u32 0 4294967295\nu16 0 258 65535\nu8 0 255\n"
                          "s32 -2147483648 2147483647 -1\ns16 -32768 32767 -2\ns8 -128 127\n"
                          "text 13 [  two  words ]\nwords two:3 words:5\n");
    EXPECT_EQ(run({C_CLIENT, "/nowhere.cfg"}).out, "VARNIX_NO_DATABASE\n");
}

} // namespace

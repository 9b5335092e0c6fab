#include "dbfile/shown.h"

#include <gtest/gtest.h>

namespace Varnix::DbFile {
namespace {

using namespace std::string_literals;

std::string repeated(std::string_view text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result.append(text);
    return result;
}

TEST(Shown, TextIsAsItIs)
{
    for (const std::string text :
         {"", "plain [text] \"'~", "gr\xC3\xBC\xC3\x9F", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
          "\xC2\xA0", "\xC3\x80", "\xED\x9F\xBF",
          // The first and the last of each length.
          "\xDF\xBF", "\xE0\xA0\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(shown(text), text);
        EXPECT_TRUE(isShowable(text));
    }
}

TEST(Shown, ControlCharactersAreEscaped)
{
    EXPECT_EQ(shown("a\tb\nc\rd\033[2J\x7F\0"s), "a\\tb\\nc\\x0dd\\x1b[2J\\x7f\\x00");
    for (char c = 0; c < ' '; ++c)
        EXPECT_FALSE(isShowable(std::string("a") + c));
    EXPECT_FALSE(isShowable("\x7F"));
}

TEST(Shown, ABackslashIsDoubledSoThatNothingLooksLikeAnother)
{
    EXPECT_EQ(shown("\\n"), "\\\\n");
    EXPECT_TRUE(isShowable("\\"));
}

TEST(Shown, WhatBreaksALineOrTurnsTheDirectionOfTextIsEscaped)
{
    for (const std::string start : {"\xE2\x80", "\xE2\x81"})
        for (int last = 0x80; last <= 0xBF; ++last) {
            const std::string character = start + static_cast<char>(last);
            const bool moves = start.back() == '\x80' ? last >= 0xA8 && last <= 0xAE
                                                      : last >= 0xA6 && last <= 0xA9;
            EXPECT_EQ(isShowable(character), !moves) << last;
            EXPECT_EQ(shown("a" + character) == "a" + character, !moves) << last;
        }
    EXPECT_EQ(shown("\xE2\x80\xAE"), "\\xe2\\x80\\xae");
}

TEST(Shown, BytesThatAreNoUtf8OrAControlCharacterInItAreEscaped)
{
    for (const auto& [bytes, text] :
         {std::pair{"\x9B"s, "\\x9b"s},
          {"\xC2\x9B", "\\xc2\\x9b"},
          {"\xC0\x80", "\\xc0\\x80"},
          {"\xC1\xBF", "\\xc1\\xbf"},
          {"\xE0\x9F\xBF", "\\xe0\\x9f\\xbf"},
          {"\xED\xA0\x80", "\\xed\\xa0\\x80"},
          {"\xF0\x8F\xBF\xBF", "\\xf0\\x8f\\xbf\\xbf"},
          {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
          {"\xF5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
          {"\xC3", "\\xc3"},
          {"\xC3 ", "\\xc3 "},
          {"\xC3\x7F", "\\xc3\\x7f"},
          {"\xC3\xC0", "\\xc3\\xc0"},
          {"\xE2\x82\x7F", "\\xe2\\x82\\x7f"},
          {"\xE2\x82\xC0", "\\xe2\\x82\\xc0"},
          {"\xE2\x82", "\\xe2\\x82"},
          {"\xE2\x82 ", "\\xe2\\x82 "},
          {"\x80", "\\x80"},
          {std::string(7, '\x80'), repeated("\\x80", 7)},
          {"\xF5" + std::string(6, '\x80'), "\\xf5" + repeated("\\x80", 6)},
          {"\xFF", "\\xff"}}) {
        EXPECT_EQ(shown(bytes), text);
        EXPECT_FALSE(isShowable(bytes));
    }
}

} // namespace
} // namespace Varnix::DbFile

#include "textValues.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace Varnix::Backend;
using Values = std::vector<std::int64_t>;
using Words = std::vector<std::string>;

/** The words of a refusal; empty when there is none. */
std::string wordsOf(const std::optional<TextValues::Refusal>& refusal)
{
    return refusal ? TextValues::describe(*refusal) : "";
}

std::string textError(const std::string& text)
{
    return wordsOf(TextValues::textError(text));
}

/** Why a single number is refused; empty when it is not. */
std::string numberError(const std::string& text)
{
    return wordsOf(TextValues::parseNumbers({text}).error);
}

Values numbers(const std::vector<std::string>& texts)
{
    const TextValues::Numbers parsed = TextValues::parseNumbers(texts);
    EXPECT_EQ(wordsOf(parsed.error), "");
    return parsed.values;
}

TEST(TextValues, EmptyTextIsNoValue)
{
    EXPECT_EQ(textError(""), "No value has been given.");
}

TEST(TextValues, LettersDigitsUnderscoreAndBlankAreText)
{
    EXPECT_EQ(textError("abcdefghijklmnopqrstuvwxyz"), "");
    EXPECT_EQ(textError("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), "");
    EXPECT_EQ(textError("0123456789_ "), "");
    EXPECT_EQ(textError(" "), "");
}

TEST(TextValues, EveryOtherCharacterIsNamedWithTheText)
{
    const std::string allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ ";
    for (int code = 0; code < 256; ++code) {
        const std::string text = std::string("a") + static_cast<char>(code) + "b";
        if (allowed.find(text[1]) == std::string::npos)
            EXPECT_EQ(textError(text), "Invalid characters in string: " + text) << code;
        else
            EXPECT_EQ(textError(text), "") << code;
    }
}

TEST(TextValues, DecimalHexadecimalAndNegativeNumbersAreRead)
{
    EXPECT_EQ(numbers({"0x1F", "-12", "007"}), (Values{31, -12, 7}));
    EXPECT_EQ(numbers({"-0x10", "0xabcdef", "0xABCDEF"}), (Values{-16, 11259375, 11259375}));
    EXPECT_EQ(numbers({"-0", "-0x0", "0"}), (Values{0, 0, 0}));
}

TEST(TextValues, NoTextsAreNoNumbers)
{
    EXPECT_EQ(numbers({}), Values{});
}

TEST(TextValues, LimitsCountCharacters)
{
    EXPECT_EQ(numbers({"9999999999", "-9999999999"}), (Values{9999999999, -9999999999}));
    EXPECT_EQ(numbers({"0xFFFFFFFF", "-0xFFFFFFFF"}), (Values{4294967295, -4294967295}));
    EXPECT_EQ(numberError("12345678901"), "Value too large: 12345678901");
    EXPECT_EQ(numberError("00000000001"), "Value too large: 00000000001");
    EXPECT_EQ(numberError("0x100000000"), "Value too large: 0x100000000");
    EXPECT_EQ(numberError("0x000000001"), "Value too large: 0x000000001");
}

TEST(TextValues, TheSignIsNotPartOfAnError)
{
    EXPECT_EQ(numberError("-12345678901"), "Value too large: 12345678901");
    EXPECT_EQ(numberError("-0x100000000"), "Value too large: 0x100000000");
    EXPECT_EQ(numberError("-12a"), "Invalid value: 12a");
    EXPECT_EQ(numberError("--1"), "Invalid value: -1");
}

TEST(TextValues, EmptyNumberIsNoValue)
{
    EXPECT_EQ(numberError(""), "No value has been given.");
}

TEST(TextValues, OtherCharactersAreInvalid)
{
    for (const std::string text : {"12a", "+7", " 7", "7 ", "1.5", "x", "0x", "0xZZ", "0X1F",
                                   "00x1", "0x-1", "0x1G", "0x1234567G", "1\n"})
        EXPECT_EQ(numberError(text), "Invalid value: " + text);
}

TEST(TextValues, PrefixWithoutDigitsIsInvalidAfterASignToo)
{
    EXPECT_EQ(numberError("-0x"), "Invalid value: 0x");
}

TEST(TextValues, LongTextIsTooLargeWhateverItsCharacters)
{
    EXPECT_EQ(numberError("abcdefghijk"), "Value too large: abcdefghijk");
    EXPECT_EQ(numberError("abcdefghij"), "Invalid value: abcdefghij");
    EXPECT_EQ(numberError("0x12345678G"), "Value too large: 0x12345678G");
}

TEST(TextValues, LoneMinusIsTheConversionsError)
{
    EXPECT_THROW(TextValues::parseNumbers({"1", "-"}), std::invalid_argument);
}

TEST(TextValues, FirstBadNumberDecides)
{
    const Words words{"1", "2", "x", "12345678901", "-"};
    EXPECT_EQ(wordsOf(TextValues::parseNumbers(words).error), "Invalid value: x");
}

} // namespace

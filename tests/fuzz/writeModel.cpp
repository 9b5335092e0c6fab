#include "writeModel.h"

#include <algorithm>
#include <limits>

namespace Varnix::Fuzz {

namespace {

constexpr std::int64_t slowRepetitions = 1000;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isTextCharacter(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ' ';
}

template <typename Predicate>
bool allOf(const std::string& text, Predicate predicate)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), predicate);
}

/** The number that digits write, or a huge one where it would not fit. */
std::int64_t valueOf(const std::string& digits, int base)
{
    constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max() / 16 - 16;
    std::int64_t value = 0;
    for (const char c : digits) {
        const int digit = isDigit(c) ? c - '0' : (c | 0x20) - 'a' + 10;
        value = std::min(value * base + digit, huge);
    }
    return value;
}

/** The value of "-i" or "-r", where it is a number that an int holds. */
std::optional<std::int64_t> optionNumber(const std::string& word)
{
    if (!allOf(word, isDigit) || valueOf(word, 10) > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return valueOf(word, 10);
}

std::optional<std::int64_t> unsignedNumber(const std::string& text)
{
    if (text.starts_with("0x") && allOf(text.substr(2), isHexDigit))
        return text.size() <= 10 ? std::optional(valueOf(text.substr(2), 16)) : std::nullopt;
    return allOf(text, isDigit) && text.size() <= 10 ? std::optional(valueOf(text, 10))
                                                     : std::nullopt;
}

Write numbersWrite(const std::string& key, const Words& values, std::int64_t index)
{
    NumbersWrite write{key, {}, static_cast<std::uint8_t>(index)};
    for (const std::string& value : values) {
        if (value == "-")
            return NoWrite{.throws = true};
        const bool isNegative = value.starts_with('-');
        const auto number = unsignedNumber(isNegative ? value.substr(1) : value);
        if (!number)
            return NoWrite{};
        write.values.push_back(isNegative ? -*number : *number);
    }
    return write;
}

Write textWrite(const std::string& key, const std::string& value, bool append)
{
    if (!allOf(value, isTextCharacter))
        return NoWrite{};
    return TextWrite{key, value, append};
}

struct Options
{
    std::int64_t index = 0;
    std::optional<std::int64_t> count{};
    Words values{};
};

std::optional<Options> optionsOf(const Words& words)
{
    Options options;
    std::size_t next = 3;
    while (next < words.size() && (words[next] == "-i" || words[next] == "-r")) {
        const auto number = optionNumber(next + 1 < words.size() ? words[next + 1] : "");
        if (!number)
            return std::nullopt;
        if (words[next] == "-i") {
            options.index = *number;
        } else {
            if (*number < 1)
                return std::nullopt;
            options.count = number;
        }
        next += 2;
    }
    if (next < words.size())
        options.values.assign(words.begin() + static_cast<std::ptrdiff_t>(next), words.end());
    return options;
}

struct Range
{
    std::int64_t min;
    std::int64_t max;
};

const std::map<std::string, Range> ranges{
    {"U8", {0, 255}},         {"S8", {-128, 127}},      {"U16", {0, 65535}},
    {"S16", {-32768, 32767}}, {"U32", {0, 4294967295}}, {"S32", {-2147483648LL, 2147483647}},
};

void applyText(const TextWrite& write, ModelStore& store)
{
    const auto found = store.find(write.key);
    if (found == store.end() || found->second.type != "CHAR")
        return;
    std::string& text = found->second.text;
    text = write.append ? text + " " + write.value : write.value;
}

void applyNumbers(const NumbersWrite& write, ModelStore& store)
{
    const auto found = store.find(write.key);
    if (found == store.end() || !ranges.contains(found->second.type))
        return;
    Numbers& numbers = found->second.numbers;
    const Range range = ranges.at(found->second.type);
    const bool fits = write.index + write.values.size() <= numbers.size() &&
                      std::all_of(write.values.begin(), write.values.end(),
                                  [&](std::int64_t v) { return range.min <= v && v <= range.max; });
    if (!fits)
        return;
    for (std::size_t i = 0; i < write.values.size(); ++i)
        numbers[(write.index + i) % 256] = write.values[i]; // the element's counter has eight bits
}

} // namespace

Write writeOf(const Words& words)
{
    const std::string& key = words[2];
    if (words.size() == 5 && (words[3] == "-c" || words[3] == "-a"))
        return textWrite(key, words[4], words[3] == "-a");
    if (words.size() <= 5)
        return numbersWrite(key, {words.begin() + 3, words.end()}, 0);

    const auto options = optionsOf(words);
    if (!options || (options->count && options->values.size() != 1))
        return NoWrite{};
    if (!options->count)
        return numbersWrite(key, options->values, options->index);
    const auto count = static_cast<std::size_t>(*options->count);
    return numbersWrite(key, Words(count, options->values.front()), options->index);
}

void apply(const Write& write, ModelStore& store)
{
    if (const auto* const text = std::get_if<TextWrite>(&write))
        applyText(*text, store);
    else if (const auto* const numbers = std::get_if<NumbersWrite>(&write))
        applyNumbers(*numbers, store);
}

bool isSlow(const Words& words)
{
    const auto options = words.size() > 5 ? optionsOf(words) : std::nullopt;
    return options && options->count.value_or(0) > slowRepetitions;
}

} // namespace Varnix::Fuzz

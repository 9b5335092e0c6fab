#include "writeIndication.h"

#include <charconv>
#include <cstddef>
#include <optional>
#include <system_error>

namespace Varnix::Backend::WriteIndication {

namespace {

using Words = std::vector<std::string>;
using Reason = Rejected::Reason;

constexpr std::size_t keyWord = 2;
constexpr std::size_t optionWord = 3;
constexpr std::size_t textFormWords = 5;

/** The number that `word` writes in decimal digits alone, if there is one that an int holds. */
std::optional<int> number(std::string_view word) noexcept
{
    if (word.find_first_not_of("0123456789") != std::string_view::npos)
        return std::nullopt;
    int value = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    return result.ec == std::errc() ? std::optional(value) : std::nullopt;
}

Words wordsFrom(const Words& words, std::size_t first)
{
    return {words.begin() + static_cast<Words::difference_type>(first), words.end()};
}

Request parseOptions(const Words& words)
{
    int index = 0;
    int count = 0;
    std::size_t next = optionWord;
    for (; next < words.size(); next += 2) {
        const std::string& option = words[next];
        if (option != "-i" && option != "-r")
            break;
        const auto value =
            next + 1 < words.size() ? std::string_view(words[next + 1]) : std::string_view();
        const std::optional<int> converted = number(value);
        if (option == "-i") {
            if (!converted)
                return Rejected{Reason::INDEX, value};
            index = *converted;
        } else {
            if (!converted)
                return Rejected{Reason::COUNT, value};
            if (*converted == 0)
                return Rejected{Reason::COUNT, "0"};
            count = *converted;
        }
    }

    const std::string& key = words[keyWord];
    Words values = wordsFrom(words, next); // no option lacks its value: that is not past the end
    if (count == 0)
        return WriteList{key, std::move(values), index};
    if (values.size() != 1)
        return Rejected{Reason::REPEATED_VALUES};
    return Repeat{key, std::move(values.front()), index, count};
}

} // namespace

std::string describe(const Rejected& rejected)
{
    const std::string invalid = "\nDBCSI_DBWRITE_IND with invalid ";
    switch (rejected.reason) {
    case Reason::INDEX:
        return (invalid + "index: ").append(rejected.word);
    case Reason::COUNT:
        return (invalid + "count: ").append(rejected.word);
    default:
        return invalid + "number of arguments for repeat option.";
    }
}

std::string describeUnhandled(const char* what)
{
    return std::string("\nDBCSI_DBWRITE_IND could not be handled: ") + what;
}

Request parse(const Words& words)
{
    if (words.size() > textFormWords)
        return parseOptions(words);
    if (words.size() == textFormWords && words[optionWord] == "-c")
        return SetText{words[keyWord], words[optionWord + 1], false};
    if (words.size() == textFormWords && words[optionWord] == "-a")
        return SetText{words[keyWord], words[optionWord + 1], true};
    return WriteList{words[keyWord], wordsFrom(words, optionWord), 0};
}

} // namespace Varnix::Backend::WriteIndication

#include "writeIndication.h"

#include <cstddef>
#include <optional>
#include <stdexcept>

namespace Varnix::Backend::WriteIndication {

namespace {

using Words = std::vector<std::string>;

constexpr std::size_t keyWord = 2;
constexpr std::size_t optionWord = 3;
constexpr std::size_t textFormWords = 5;

constexpr int largestCount = 0xFFFFFF; // no parameter has more elements

/** The number that `word` writes in decimal digits alone, if there is one that an int holds. */
std::optional<int> number(const std::string& word)
{
    if (word.empty() || word.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    try {
        return std::stoi(word);
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

Words wordsFrom(const Words& words, std::size_t first)
{
    return {words.begin() + static_cast<Words::difference_type>(first), words.end()};
}

Rejected invalid(const char* what, const std::string& word)
{
    return {std::string("\nDBCSI_DBWRITE_IND with invalid ") + what + ": " + word};
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
        const std::string value = next + 1 < words.size() ? words[next + 1] : "";
        const std::optional<int> converted = number(value);
        if (option == "-i") {
            if (!converted)
                return invalid("index", value);
            index = *converted;
        } else {
            if (!converted || *converted > largestCount)
                return invalid("count", value);
            if (*converted == 0)
                return invalid("count", "0");
            count = *converted;
        }
    }

    const std::string& key = words[keyWord];
    Words values = wordsFrom(words, next); // no option lacks its value: that is not past the end
    if (count == 0)
        return WriteList{key, std::move(values), index};
    if (values.size() != 1)
        return Rejected{"\nDBCSI_DBWRITE_IND with invalid number of arguments for repeat option."};
    return Repeat{key, std::move(values.front()), index, count};
}

} // namespace

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

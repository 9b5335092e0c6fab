#include "textValues.h"

namespace Varnix::Backend::TextValues {

namespace {

constexpr const char* textCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ01234567890_ ";
constexpr const char* hexDigits = "0123456789abcdefABCDEF";
constexpr const char* decimalDigits = "0123456789";
constexpr std::size_t longestNumber = 10; // in characters, be they digits or "0x" and eight digits
constexpr std::size_t hexPrefix = 2;      // "0x"

bool consistsOf(const std::string& text, const char* characters, std::size_t from = 0)
{
    return text.find_first_not_of(characters, from) == std::string::npos;
}

bool isHex(const std::string& text)
{
    return text.size() > hexPrefix && text.starts_with("0x") &&
           consistsOf(text, hexDigits, hexPrefix);
}

/** Why the unsigned `text` is no number. */
std::optional<std::string> numberError(const std::string& text)
{
    if (text.size() > longestNumber)
        return "Value too large: " + text;
    if (!isHex(text) && !consistsOf(text, decimalDigits))
        return "Invalid value: " + text;
    return std::nullopt;
}

} // namespace

std::optional<std::string> textError(const std::string& value)
{
    if (value.empty())
        return "No value has been given.";
    if (!consistsOf(value, textCharacters))
        return "Invalid characters in string: " + value;
    return std::nullopt;
}

Numbers parseNumbers(const std::vector<std::string>& texts)
{
    Numbers numbers;
    numbers.values.reserve(texts.size());
    for (const std::string& text : texts) {
        if (text.empty()) {
            numbers.error = "No value has been given.";
            break;
        }
        const bool negative = text.front() == '-';
        const std::string digits = text.substr(negative ? 1 : 0);
        numbers.error = numberError(digits);
        if (numbers.error)
            break;
        const std::int64_t value = std::stoll(digits, nullptr, isHex(digits) ? 16 : 10);
        numbers.values.push_back(negative ? -value : value);
    }
    return numbers;
}

} // namespace Varnix::Backend::TextValues

#include "textValues.h"

namespace Varnix::Backend::TextValues {

namespace {

using Reason = Refusal::Reason;

constexpr std::string_view textCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ01234567890_ ";
constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
constexpr std::string_view decimalDigits = "0123456789";
constexpr std::string_view hexPrefix = "0x";
constexpr std::size_t longestNumber = 10; // in characters, be they digits or "0x" and eight digits

bool consistsOf(std::string_view text, std::string_view characters) noexcept
{
    return text.find_first_not_of(characters) == std::string_view::npos;
}

bool isHex(std::string_view text) noexcept
{
    return text.size() > hexPrefix.size() && text.starts_with(hexPrefix) &&
           consistsOf(text.substr(hexPrefix.size()), hexDigits);
}

/** Why the unsigned `text` is no number. */
std::optional<Refusal> numberError(std::string_view text) noexcept
{
    if (text.size() > longestNumber)
        return Refusal{Reason::TOO_LARGE, text};
    if (!isHex(text) && !consistsOf(text, decimalDigits))
        return Refusal{Reason::NO_NUMBER, text};
    return std::nullopt;
}

const char* wordsOf(Reason reason) noexcept
{
    switch (reason) {
    case Reason::INVALID_CHARACTERS:
        return "Invalid characters in string: ";
    case Reason::TOO_LARGE:
        return "Value too large: ";
    case Reason::NO_NUMBER:
        return "Invalid value: ";
    default:
        return "No value has been given.";
    }
}

} // namespace

std::string describe(const Refusal& refusal)
{
    return wordsOf(refusal.reason) + std::string(refusal.text);
}

std::optional<Refusal> textError(std::string_view value) noexcept
{
    if (value.empty())
        return Refusal{Reason::NO_VALUE};
    if (!consistsOf(value, textCharacters))
        return Refusal{Reason::INVALID_CHARACTERS, value};
    return std::nullopt;
}

Number parseNumber(std::string_view text)
{
    if (text.empty())
        return Refusal{Reason::NO_VALUE};
    const bool negative = text.front() == '-';
    const std::string_view digits = text.substr(negative ? 1 : 0);
    if (const auto error = numberError(digits))
        return *error;
    const std::int64_t value = std::stoll(std::string(digits), nullptr, isHex(digits) ? 16 : 10);
    return negative ? -value : value;
}

Numbers parseNumbers(const std::vector<std::string>& texts)
{
    Numbers numbers;
    numbers.values.reserve(texts.size());
    for (const std::string& text : texts) {
        const Number number = parseNumber(text);
        if (const auto* const refusal = std::get_if<Refusal>(&number)) {
            numbers.error = *refusal;
            break;
        }
        numbers.values.push_back(std::get<std::int64_t>(number));
    }
    return numbers;
}

} // namespace Varnix::Backend::TextValues

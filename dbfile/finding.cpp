#include "dbfile/finding.h"

#include "dbfile/shown.h"
#include "dbfile/sourceLine.h"

#include <array>
#include <charconv>

namespace Varnix::DbFile {

std::string hexNumber(std::uint64_t value)
{
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return "0x" + std::string(digits.data(), end);
}

std::string hexBytes(std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (!text.empty())
            text.push_back(' ');
        text.push_back(digits[value >> 4U]);
        text.push_back(digits[value & 0xFU]);
    }
    return text;
}

std::string noValue(std::string_view key)
{
    return "the key " + quoted(key) +
           " has no value: unless another file gives it one, every read is a type mismatch";
}

std::string describe(std::string_view file, const Finding& finding, std::string_view severity)
{
    std::string text = shown(file);
    text.append(":@").append(hexNumber(finding.offset)).append(": ").append(severity);
    return text.append(": ").append(finding.text);
}

std::string describe(std::string_view file, const std::vector<Finding>& findings)
{
    std::string text;
    for (const Finding& finding : findings)
        text.append(text.empty() ? "" : "\n").append(describe(file, finding));
    return text;
}

} // namespace Varnix::DbFile

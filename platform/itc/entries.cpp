#include "entries.h"

#include "frame.h"

#include <charconv>
#include <system_error>

namespace Itc {

namespace {

constexpr std::size_t idDigits = 8;

constexpr std::string_view plainBytes =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";

} // namespace

std::string toHex(std::uint32_t number)
{
    std::string text(idDigits, '0');
    for (auto digit = text.rbegin(); number != 0; ++digit, number /= 16)
        *digit = "0123456789abcdef"[number % 16];
    return text;
}

std::string endpointEntry(std::uint32_t id)
{
    return "m-" + toHex(id);
}

std::string channelEntry(std::uint32_t id)
{
    return "w-" + toHex(id);
}

std::string passingEntry(std::string_view entry)
{
    return "t-" + std::string(entry.substr(2));
}

std::optional<std::uint32_t> endpointId(std::string_view entry) noexcept
{
    if (!entry.starts_with("m-") || entry.size() != 2 + idDigits)
        return std::nullopt;
    std::uint32_t number = 0;
    const char* const end = entry.data() + entry.size();
    const auto [stop, error] = std::from_chars(entry.data() + 2, end, number, 16);
    if (error != std::errc{} || stop != end || number > lastId)
        return std::nullopt;
    return number;
}

std::optional<std::string> nameEntry(std::string_view name)
{
    std::string entry = "n-";
    for (const char c : name) {
        if (plainBytes.find(c) != plainBytes.npos) {
            entry += c;
        } else {
            const std::string byte = toHex(static_cast<unsigned char>(c));
            entry += '%' + byte.substr(byte.size() - 2);
        }
    }
    if (entry.size() > 2 + maxNameSize)
        return std::nullopt;
    return entry;
}

} // namespace Itc

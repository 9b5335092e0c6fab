#ifndef VARNIX_SHARED_DECIMAL_H
#define VARNIX_SHARED_DECIMAL_H

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace Decimal {

/** The number that all of `text` is in decimal; none where it is no such, or too large or small. */
template <typename Number>
std::optional<Number> number(std::string_view text) noexcept
{
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stop == end ? std::optional(value) : std::nullopt;
}

} // namespace Decimal

#endif

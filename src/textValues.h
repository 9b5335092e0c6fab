#ifndef VARNIX_TEXTVALUES_H
#define VARNIX_TEXTVALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/** Values as an operator types them. */
namespace Varnix::Backend::TextValues {

/** Why a text is refused. */
struct Refusal
{
    enum class Reason
    {
        NO_VALUE,
        INVALID_CHARACTERS,
        TOO_LARGE,
        NO_NUMBER
    };

    Reason reason;
    std::string_view text{}; ///< what to name of the text that was checked; a part of it
};

/** The refusal in words. */
std::string describe(const Refusal& refusal);

/** Why `value` is no text that may be stored; empty when it is one. */
std::optional<Refusal> textError(std::string_view value) noexcept;

using Number = std::variant<std::int64_t, Refusal>;

/**
 * Reads a decimal number of at most 10 or a "0x" number of at most 8 digits, with an optional "-".
 * Throws std::invalid_argument for a lone "-".
 */
Number parseNumber(std::string_view text);

/** Numbers, or in `error` why the first that is none cannot be one. */
struct Numbers
{
    std::vector<std::int64_t> values{};
    std::optional<Refusal> error{};
};

/** Reads each text as parseNumber() does, up to the first that is refused. */
Numbers parseNumbers(const std::vector<std::string>& texts);

} // namespace Varnix::Backend::TextValues

#endif

#ifndef VARNIX_TEXTVALUES_H
#define VARNIX_TEXTVALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/** Values as an operator types them. */
namespace Varnix::Backend::TextValues {

/** Why `value` is no text that may be stored; empty when it is one. */
std::optional<std::string> textError(const std::string& value);

/** Numbers, or in `error` why the first that is none cannot be one. */
struct Numbers
{
    std::vector<std::int64_t> values{};
    std::optional<std::string> error{};
};

/**
 * Reads decimal numbers of at most 10 and "0x" numbers of at most 8 digits, each with an optional
 * "-". Throws std::invalid_argument for a lone "-".
 */
Numbers parseNumbers(const std::vector<std::string>& texts);

} // namespace Varnix::Backend::TextValues

#endif

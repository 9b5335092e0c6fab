#ifndef VARNIX_PLATFORM_ITC_ENTRIES_H
#define VARNIX_PLATFORM_ITC_ENTRIES_H

/** How the entries of the mailbox directory are named: see directory.h. */

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Itc {

/** Ids stay clear of the special values, which all have the top bit set. */
inline constexpr std::uint32_t lastId = 0x7FFFFFFF;

std::string toHex(std::uint32_t number);

/** The endpoint of a mailbox. */
std::string endpointEntry(std::uint32_t id);
/** The socket of one that waits for names. */
std::string channelEntry(std::uint32_t id);
/** Either of these while its socket is made. */
std::string passingEntry(std::string_view entry);
/** The id in an endpoint's name. */
std::optional<std::uint32_t> endpointId(std::string_view entry) noexcept;

/**
 * The entry of a mailbox's name. A name may hold any byte; the entry shows the ordinary ones as
 * they are. None where the name is too long for one.
 */
std::optional<std::string> nameEntry(std::string_view name);

} // namespace Itc

#endif

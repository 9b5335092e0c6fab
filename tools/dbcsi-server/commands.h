#ifndef VARNIX_DBCSI_SERVER_COMMANDS_H
#define VARNIX_DBCSI_SERVER_COMMANDS_H

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

/** What an operator's line may begin with. */
namespace Dbcsi::Commands {

/** Those of the server itself, and then the one that most lines begin with that are sent. */
inline constexpr std::array<std::string_view, 6> all = {"status", "wait", "settle",
                                                        "help",   "quit", "db"};

/** Whether a line that begins with it is carried out here and sent to nobody. */
inline bool isOwn(std::string_view word)
{
    const auto own = std::span(all).first<all.size() - 1>();
    return std::find(own.begin(), own.end(), word) != own.end();
}

} // namespace Dbcsi::Commands

#endif

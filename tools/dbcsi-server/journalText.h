#ifndef VARNIX_DBCSI_SERVER_JOURNALTEXT_H
#define VARNIX_DBCSI_SERVER_JOURNALTEXT_H

#include "processInfo.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/**
 * The comments of a journal, which say who had its writes. Their words are quoted as those of the
 * writes; times are UTC, a process is its id, start time and mailbox:
 *
 *     # boot 4f6c…                                            of the host, for what follows
 *     # 2026-01-31T12:00:00Z root to 2: 71@940/5 client 75@1020/6 other [except 75@1020/6]
 *     # 2026-01-31T12:00:00Z root replayed 16 to 80@2200/7 client [only 3]
 *
 * The second follows the write that it is about. The third says that a process was sent the first
 * 16 writes that it had not had. Both are written before the sending and get their line's end after
 * it. Commands are as a terminal shows them. Any other comment means nothing. An older journal does
 * not name the mailboxes.
 */
namespace Dbcsi::JournalText {

std::string boot(const std::string& id);
std::string sending(const std::string& user, const std::vector<ProcessInfo>& to);
std::string except(const std::vector<ProcessId>& processes);
std::string replaying(const std::string& user, const ProcessInfo& to, std::size_t count);
std::string only(std::size_t count);

struct Comment
{
    enum class Kind
    {
        BOOT,
        SENT,
        REPLAYED
    };

    Kind kind;
    std::string boot;                   ///< of BOOT
    std::vector<ProcessInfo> processes; ///< those that were sent to
    std::size_t count;                  ///< of REPLAYED: how many writes
};

/** What a whole comment says; none for any other line. */
std::optional<Comment> parse(std::string_view line);

} // namespace Dbcsi::JournalText

#endif

#ifndef VARNIX_DBCSI_SERVER_EXITSTATUS_H
#define VARNIX_DBCSI_SERVER_EXITSTATUS_H

#include <array>

namespace Dbcsi {

/** What the server ends with; the numbers are those of all tools. */
enum class ExitStatus
{
    DONE = 0,
    NO = 1,
    USAGE = 2,
    UNREADABLE = 3,
    INVALID = 4,
    UNUSABLE = 5
};

/** What each means, in its order. */
inline constexpr std::array exitStatusMeanings{
    "done",
    "a \"wait\" or \"settle\" ran out of time, or a write did not reach every subscriber",
    "wrong usage",
    "standard input cannot be read or holds no lines, standard output cannot be written, or the "
    "journal cannot be opened or read",
    "a line of scripted input could not be carried out",
    "mailboxes cannot be used, another server runs, or memory ran out",
};

} // namespace Dbcsi

#endif

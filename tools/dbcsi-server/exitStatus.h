#ifndef VARNIX_DBCSI_SERVER_EXITSTATUS_H
#define VARNIX_DBCSI_SERVER_EXITSTATUS_H

namespace Dbcsi {

/** What the server ends with; the numbers are those of all tools. */
enum class ExitStatus
{
    DONE = 0,
    NO = 1,         /* a "wait" or "settle" ran out of time, or a write did not reach all */
    USAGE = 2,      /* wrong options */
    UNREADABLE = 3, /* standard input cannot be read, or standard output not be written */
    INVALID = 4,    /* a line of scripted input could not be carried out */
    UNUSABLE = 5    /* no mailboxes, another server owns the name, or no memory */
};

} // namespace Dbcsi

#endif

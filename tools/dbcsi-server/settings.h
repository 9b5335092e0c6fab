#ifndef VARNIX_DBCSI_SERVER_SETTINGS_H
#define VARNIX_DBCSI_SERVER_SETTINGS_H

#include <cstdint>
#include <string>

namespace Dbcsi {

/** What the command line asks of the server. */
struct Settings
{
    /* To show a client's answer to a refusal. */
    bool rejectConnection = false;
    bool rejectSubscription = false;

    std::uint64_t queueLimit = std::uint64_t{64} << 20; ///< bytes that may wait for a subscriber
    std::string journal;                                ///< its path; empty for none
    bool replay = false;                                ///< of the journal
};

} // namespace Dbcsi

#endif

#ifndef VARNIX_RECORDING_SESSIONDAEMON_H
#define VARNIX_RECORDING_SESSIONDAEMON_H

#include "dbfile/descriptor.h"

namespace Varnix::Recording {

/** Who ends a session daemon that was started here. */
enum class DaemonUse
{
    /** The last recording that ends, of any process. */
    WHILE_RECORDING,
    /** Nobody. */
    FOR_GOOD,
};

/**
 * Held while sessions are made and the daemon is ended, so that nobody makes one at a daemon that
 * is about to end.
 */
class DaemonLock
{
public:
    DaemonLock();

private:
    DbFile::Descriptor m_directory;
};

/**
 * Starts a session daemon where none answers. Throws NoPlace where this user has no directory for
 * its sockets, and Failure where none can be started otherwise.
 */
void startDaemon(DaemonUse use);

/** Ends the daemon if it was started WHILE_RECORDING and has no session left. */
void endUnusedDaemon() noexcept;

} // namespace Varnix::Recording

#endif

#ifndef VARNIX_RECORDING_FOLLOWED_H
#define VARNIX_RECORDING_FOLLOWED_H

#include "dbfile/descriptor.h"

#include <functional>
#include <string>

#include <sys/types.h>

namespace Varnix::Recording {

/**
 * Learns of every process that a command and its children start, before it traces anything: each
 * that uses the tracer loads a module that reports to a socket of this object and waits.
 */
class Followed
{
public:
    /** Throws Failure where the module is not there. */
    Followed();

    /** Makes this process's future children, and theirs, report. */
    void setEnvironment() const;

    /** Readable when admit() has something to do. */
    int fd() const noexcept { return m_socket.get(); }

    /** Calls back with each process that has reported, then lets it go on. */
    void admit(const std::function<void(pid_t)>& report) const;

private:
    std::string m_module;
    std::string m_name;
    DbFile::Descriptor m_socket;
};

} // namespace Varnix::Recording

#endif

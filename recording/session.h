#ifndef VARNIX_RECORDING_SESSION_H
#define VARNIX_RECORDING_SESSION_H

#include "recording/directory.h"
#include "recording/sessionDaemon.h"

#include <cstdint>
#include <filesystem>
#include <string>

#include <sys/types.h>

namespace Varnix::Recording {

/** Which events a session records. */
enum class Events
{
    ALL,
    /** ERROR, and those INFO that name something abnormal. */
    WRONG,
};

/** Which processes a session records. */
enum class Processes
{
    ALL,
    /** Those that follow() was called with. */
    FOLLOWED,
};

struct Settings
{
    /** Names begin with it; sessions of dead processes whose names do are removed. */
    std::string prefix;
    Events events = Events::ALL;
    Processes processes = Processes::ALL;
    DaemonUse daemon = DaemonUse::WHILE_RECORDING;
    /** After how many microseconds an event is written to the files at the latest; 0: at a stop. */
    unsigned writtenAfter = 0;
};

/**
 * A session of LTTng's that records the library's events below a directory of its own, from the
 * construction on. Session and directory go with the object, what dead processes left with the next
 * one. Throws Failure.
 */
class Session
{
public:
    explicit Session(const Settings& settings);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const std::string& name() const noexcept { return m_name; }

    /** Records the process too; returns when it is so. */
    void follow(pid_t process) const;

    /** Stops recording and waits until everything is in the files. */
    void stop() const;
    void start() const;

    /**
     * Where what is recorded now is written. After a rotation that is another directory, and the
     * result of rotate() is where the files before were moved.
     */
    std::filesystem::path files() const;
    std::filesystem::path rotate();

    /** How many events were dropped since the beginning: too many at once, or too long. */
    std::uint64_t discarded() const;

private:
    void create(const Settings& settings);

    DaemonUse m_use;
    Directory m_directory;
    std::string m_name;
    bool m_isRotated = false;
};

/** Whether the tracer in the process is connected to the session daemon. */
bool isRegistered(pid_t process);

} // namespace Varnix::Recording

#endif

#include "recording/sessionDaemon.h"

#include "recording/failure.h"
#include "recording/program.h"
#include "recording/waiting.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <lttng/lttng.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

namespace Varnix::Recording {

namespace {

namespace fs = std::filesystem;

/** In the environment of a daemon that is ended with its last session. */
constexpr const char* markName = "VARNIX_SESSION_DAEMON";
constexpr const char* markValue = "while-recording";

bool daemonAnswers()
{
    return lttng_session_daemon_alive() == 1;
}

/** The directory in which LTTng makes one for an ordinary user's daemon. */
fs::path homeOfUser()
{
    for (const char* const name : {"LTTNG_HOME", "HOME"})
        if (const char* const home = std::getenv(name))
            return home;
    const passwd* const user = ::getpwuid(::geteuid());
    return user != nullptr ? user->pw_dir : "/nonexistent";
}

/** Where the daemon of this user keeps its sockets; LTTng fixes the places. */
fs::path daemonDirectory()
{
    return ::geteuid() == 0 ? fs::path("/var/run/lttng") : homeOfUser() / ".lttng";
}

/** Throws NoPlace where a daemon of this user could not keep its sockets. */
void requireDirectory()
{
    const fs::path directory = daemonDirectory();
    if (::geteuid() == 0 || ::access(directory.c_str(), W_OK) == 0 ||
        (errno == ENOENT && ::access(directory.parent_path().c_str(), W_OK) == 0))
        return;
    const std::string reason = std::generic_category().message(errno);
    throw NoPlace("the directory " + directory.string() + " cannot be used: " + reason +
                  "\nName one of your own in LTTNG_HOME.");
}

std::optional<pid_t> daemonId()
{
    std::ifstream file(daemonDirectory() / "lttng-sessiond.pid");
    pid_t id = 0;
    return file >> id ? std::optional(id) : std::nullopt;
}

bool isMarked(pid_t daemon)
{
    std::ifstream file("/proc/" + std::to_string(daemon) + "/environ", std::ios::binary);
    const std::string environment{std::istreambuf_iterator<char>(file), {}};
    return environment.find(std::string(markName) + '=' + markValue) != std::string::npos;
}

bool hasSessions()
{
    lttng_session* list = nullptr;
    const int count = lttng_list_sessions(&list);
    std::free(list);
    return count != 0;
}

} // namespace

DaemonLock::DaemonLock()
    // What the daemon's directory is in is there even before the first daemon.
    : m_directory(
          ::open(daemonDirectory().parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    while (m_directory.isOpen() && ::flock(m_directory.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
}

void startDaemon(DaemonUse use)
{
    if (daemonAnswers())
        return;
    requireDirectory();
    if (use == DaemonUse::WHILE_RECORDING)
        ::setenv(markName, markValue, 1);
    std::string problem = "it does not answer";
    auto patience = longest;
    try {
        outputOf({"lttng-sessiond", "--daemonize", "--no-kernel"});
    } catch (const Failure& failure) {
        problem = failure.what();
        patience = std::chrono::seconds(5); // one that somebody else starts makes this one fail
    }
    ::unsetenv(markName);
    if (!waitFor(daemonAnswers, patience))
        throw Failure("no session daemon can be started: " + problem);
}

void endUnusedDaemon() noexcept
{
    try {
        const DaemonLock lock;
        const auto daemon = daemonId();
        if (!daemon || !isMarked(*daemon) || hasSessions())
            return;
        ::kill(*daemon, SIGTERM);
        waitFor([&] { return !isMarked(*daemon); }); // one that has ended has no environment
    } catch (const std::exception&) {                // no memory: the next recording ends it
    }
}

} // namespace Varnix::Recording

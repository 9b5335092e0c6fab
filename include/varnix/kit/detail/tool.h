#ifndef VARNIX_KIT_DETAIL_TOOL_H
#define VARNIX_KIT_DETAIL_TOOL_H

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Kit::Detail {

/** Throws the error that a call returned. */
inline void check(int error, const char* what)
{
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

/**
 * The path of a command of Varnix: in the directory that VARNIX_KIT_TOOLS names when the test is
 * compiled, which varnix::kit does, else where PATH leads to. Throws std::runtime_error.
 */
inline std::string findTool(const std::string& name)
{
    std::string directories;
#ifdef VARNIX_KIT_TOOLS
    directories = VARNIX_KIT_TOOLS ":";
#endif
    if (const char* const path = std::getenv("PATH"))
        directories += path;
    std::istringstream list(directories);
    for (std::string directory; std::getline(list, directory, ':');) {
        const std::string candidate = (directory.empty() ? "." : directory) + '/' + name;
        if (::access(candidate.c_str(), X_OK) == 0 && !std::filesystem::is_directory(candidate))
            return candidate;
    }
    throw std::runtime_error("a TestNode needs the command " + name + ", which is not in " +
                             (directories.empty() ? "PATH" : directories));
}

/** Which streams a new process gets. */
class SpawnStreams
{
public:
    SpawnStreams() { check(::posix_spawn_file_actions_init(&m_actions), "a command's streams"); }
    ~SpawnStreams() { ::posix_spawn_file_actions_destroy(&m_actions); }
    SpawnStreams(const SpawnStreams&) = delete;
    SpawnStreams& operator=(const SpawnStreams&) = delete;

    void open(int stream, const std::string& path, int flags)
    {
        check(::posix_spawn_file_actions_addopen(&m_actions, stream, path.c_str(), flags, 0600),
              "a command's streams");
    }
    void copy(int stream, int descriptor)
    {
        check(::posix_spawn_file_actions_adddup2(&m_actions, descriptor, stream),
              "a command's streams");
    }
    const posix_spawn_file_actions_t* get() const noexcept { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

/** Starts a program in a process group of its own, where a terminal's signals do not reach it. */
inline pid_t spawn(std::vector<std::string> words, const SpawnStreams& streams)
{
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    posix_spawnattr_t attributes{};
    check(::posix_spawnattr_init(&attributes), words.front().c_str());
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t process = -1;
    const int error = ::posix_spawn(&process, words.front().c_str(), streams.get(), &attributes,
                                    arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    check(error, words.front().c_str());
    return process;
}

/** The exit status, or -1 where the process ended otherwise. */
inline int waitForEnd(pid_t process) noexcept
{
    int ending = 0;
    while (::waitpid(process, &ending, 0) < 0)
        if (errno != EINTR)
            return -1;
    return WIFEXITED(ending) ? WEXITSTATUS(ending) : -1;
}

/** Runs `varnix build`. Throws std::runtime_error with what it complains of. */
inline void buildDatabase(const std::filesystem::path& source,
                          const std::filesystem::path& database)
{
    const std::string log = database.string() + ".log";
    SpawnStreams streams;
    streams.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    streams.open(STDOUT_FILENO, log, O_WRONLY | O_CREAT | O_TRUNC);
    streams.copy(STDERR_FILENO, STDOUT_FILENO);
    const pid_t process =
        spawn({findTool("varnix"), "build", "-o", database.string(), source.string()}, streams);
    if (waitForEnd(process) == 0)
        return;
    std::ifstream file(log);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    throw std::runtime_error("varnix build failed: " + text);
}

} // namespace Varnix::Kit::Detail

#endif

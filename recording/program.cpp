#include "recording/program.h"

#include "dbfile/descriptor.h"
#include "recording/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Recording {

namespace {

class Actions
{
public:
    explicit Actions(int output)
    {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
        ::posix_spawn_file_actions_adddup2(&m_actions, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_actions, STDIN_FILENO, STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
    }
    ~Actions() { ::posix_spawn_file_actions_destroy(&m_actions); }
    Actions(const Actions&) = delete;
    Actions& operator=(const Actions&) = delete;

    const posix_spawn_file_actions_t* get() const noexcept { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

class Attributes
{
public:
    Attributes()
    {
        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        ::sigfillset(&all);
        ::posix_spawnattr_init(&m_attributes);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                      POSIX_SPAWN_SETPGROUP);
    }
    ~Attributes() { ::posix_spawnattr_destroy(&m_attributes); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const posix_spawnattr_t* get() const noexcept { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes{};
};

pid_t start(const std::vector<std::string>& words, int output)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const Actions actions(output);
    const Attributes attributes;
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, arguments[0], actions.get(), attributes.get(),
                                     arguments.data(), environ);
    if (error == ENOENT)
        throw Failure("there is no " + words[0]);
    if (error != 0)
        throw Failure(words[0] + ": " + std::strerror(error));
    return child;
}

} // namespace

std::string outputOf(const std::vector<std::string>& words)
{
    std::array<int, 2> ends{};
    require(::pipe2(ends.data(), O_CLOEXEC) == 0, "pipe2");
    const DbFile::Descriptor reading(ends[0]);
    DbFile::Descriptor writing(ends[1]);
    const pid_t child = start(words, writing.get());
    writing.close();

    std::string output;
    std::array<char, 65536> part{};
    ssize_t size = 0;
    while ((size = ::read(reading.get(), part.data(), part.size())) > 0 ||
           (size < 0 && errno == EINTR))
        output.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0)
        throw Failure(words[0] + " failed with wait status " + std::to_string(status));
    return output;
}

} // namespace Varnix::Recording

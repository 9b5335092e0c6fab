#include "tests/support/process.h"

#include "dbfile/descriptor.h"
#include "tests/support/waitUntil.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Test {

namespace {

using DbFile::Descriptor;

const unsigned timeLimitInSeconds = 60 * slowness();
constexpr int cannotStart = 127;

void require(bool condition, const char* what)
{
    if (!condition)
        throw std::system_error(errno, std::system_category(), what);
}

std::vector<char*> pointers(std::vector<std::string>& words)
{
    std::vector<char*> result;
    std::transform(words.begin(), words.end(), std::back_inserter(result),
                   [](std::string& word) { return word.data(); });
    result.push_back(nullptr);
    return result;
}

std::string nameOf(const std::string& setting)
{
    return setting.substr(0, setting.find('='));
}

std::vector<std::string> environmentOf(const std::vector<std::string>& changes)
{
    std::vector<std::string> result;
    for (char** setting = environ; *setting != nullptr; ++setting)
        if (std::none_of(changes.begin(), changes.end(), [setting](const std::string& change) {
                return nameOf(change) == nameOf(*setting);
            }))
            result.emplace_back(*setting);
    std::copy_if(changes.begin(), changes.end(), std::back_inserter(result),
                 [](const std::string& change) { return change.find('=') != std::string::npos; });
    return result;
}

/** A file of no name: what is written there needs no reader while the program runs. */
Descriptor unnamedFile()
{
    Descriptor file(::memfd_create("output", MFD_CLOEXEC));
    require(file.isOpen(), "memfd_create");
    return file;
}

std::string contentOf(const Descriptor& file)
{
    std::string content;
    std::array<char, 4096> buffer{};
    ::lseek(file.get(), 0, SEEK_SET);
    for (ssize_t count = 0; (count = ::read(file.get(), buffer.data(), buffer.size())) > 0;)
        content.append(buffer.data(), static_cast<std::size_t>(count));
    return content;
}

} // namespace

ProcessResult run(const std::vector<std::string>& command, const ProcessSetup& setup)
{
    std::vector<std::string> words = command;
    std::vector<std::string> settings = environmentOf(setup.environment);
    const std::vector<char*> arguments = pointers(words);
    const std::vector<char*> environment = pointers(settings);
    const Descriptor input(::open(setup.input.c_str(), O_RDONLY | O_CLOEXEC));
    const Descriptor out = setup.output.empty()
                               ? unnamedFile()
                               : Descriptor(::open(setup.output.c_str(), O_WRONLY | O_CLOEXEC));
    const Descriptor err = unnamedFile();
    require(input.isOpen() && out.isOpen(), "open");

    const pid_t child = ::fork();
    require(child >= 0, "fork");
    if (child == 0) {
        ::alarm(timeLimitInSeconds);
        if (::dup2(input.get(), STDIN_FILENO) < 0 || ::dup2(out.get(), STDOUT_FILENO) < 0 ||
            ::dup2(err.get(), STDERR_FILENO) < 0 || ::chdir(setup.directory.c_str()) != 0)
            ::_exit(cannotStart);
        if (setup.before)
            setup.before();
        ::execvpe(arguments.front(), arguments.data(), environment.data());
        ::_exit(cannotStart);
    }

    int ending = 0;
    while (::waitpid(child, &ending, 0) < 0)
        require(errno == EINTR, "waitpid");
    ProcessResult result;
    result.status = WIFEXITED(ending) ? WEXITSTATUS(ending) : -1;
    result.signal = WIFSIGNALED(ending) ? WTERMSIG(ending) : 0;
    result.out = setup.output.empty() ? contentOf(out) : std::string();
    result.err = contentOf(err);
    return result;
}

} // namespace Varnix::Test

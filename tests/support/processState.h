#ifndef VARNIX_TESTS_PROCESSSTATE_H
#define VARNIX_TESTS_PROCESSSTATE_H

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

/** What /proc tells of the test's own process. */
namespace Varnix::Test {

/** The threads of the process that have this name. */
inline std::vector<pid_t> threadIdsNamed(std::string_view name)
{
    std::vector<pid_t> threads;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm"); // unreadable once the thread has ended
        std::string text;
        std::getline(comm, text);
        if (text == name)
            threads.push_back(std::stoi(task.path().filename().string()));
    }
    return threads;
}

inline std::size_t threadsNamed(std::string_view name)
{
    return threadIdsNamed(name).size();
}

/** Whether a thread of the process sleeps. */
inline bool isAsleep(pid_t thread)
{
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(stat, line);
    return line.find(") S ") != std::string::npos;
}

inline std::size_t entriesOf(const char* directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

inline std::size_t threadCount()
{
    return entriesOf("/proc/self/task");
}

inline std::size_t descriptorCount()
{
    return entriesOf("/proc/self/fd");
}

/** Whether a file whose path holds `name` is mapped into the process. */
inline bool isMapped(std::string_view name)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find(name) != std::string::npos)
            return true;
    return false;
}

} // namespace Varnix::Test

#endif

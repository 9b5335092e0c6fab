#include "processPlace.h"

#include "command.h"
#include "production.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace Varnix::Tool {

namespace {

Failure notReached(pid_t process, const char* what, int error)
{
    return {Status::NODE_UNUSABLE,
            "varnix: the " + std::string(what) + " of process " + std::to_string(process) +
                " cannot be read: " + std::generic_category().message(error)};
}

/** Calls `take` with the name and the value of each variable that names a production database. */
template <typename Take>
void forEachVariable(std::istream& environment, const Take& take)
{
    for (std::string assignment; std::getline(environment, assignment, '\0');)
        for (const std::string_view name : productionVariables)
            if (assignment.starts_with(name) &&
                std::string_view(assignment).substr(name.size()).starts_with('='))
                take(std::string(name), assignment.substr(name.size() + 1));
}

std::string directoryOf(pid_t process)
{
    return "/proc/" + std::to_string(process);
}

/** Whether both are there and are not the same file. */
bool areDifferent(const std::string& one, const std::string& other)
{
    struct stat first
    {
    };
    struct stat second
    {
    };
    return ::stat(one.c_str(), &first) == 0 && ::stat(other.c_str(), &second) == 0 &&
           (first.st_dev != second.st_dev || first.st_ino != second.st_ino);
}

} // namespace

NodePlace placeOf(pid_t process)
{
    const std::string directory = directoryOf(process);
    NodePlace place;
    if (areDifferent("/proc/self/ns/mnt", directory + "/ns/mnt") ||
        areDifferent("/", directory + "/root"))
        place.root = directory + "/root";
    return place;
}

NodePlace takePlaceOf(pid_t process)
{
    std::ifstream environment(directoryOf(process) + "/environ", std::ios::binary);
    if (!environment)
        throw notReached(process, "environment", errno);
    for (const char* const name : productionVariables)
        ::unsetenv(name);
    forEachVariable(environment, [](const std::string& name, const std::string& value) {
        ::setenv(name.c_str(), value.c_str(), 1);
    });
    if (::chdir((directoryOf(process) + "/cwd").c_str()) != 0)
        throw notReached(process, "working directory", errno);
    return placeOf(process);
}

std::vector<std::string> productionPathsOf(pid_t process)
{
    std::vector<std::string> paths;
    std::ifstream environment(directoryOf(process) + "/environ", std::ios::binary);
    forEachVariable(environment, [&paths](const std::string&, const std::string& value) {
        paths.push_back(value);
    });
    return paths;
}

} // namespace Varnix::Tool

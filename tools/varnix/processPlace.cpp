#include "processPlace.h"

#include "command.h"
#include "production.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include <unistd.h>

namespace Varnix::Tool {

namespace {

Failure notReached(pid_t process, const char* what, int error)
{
    return {Status::NODE_UNUSABLE,
            "varnix: the " + std::string(what) + " of process " + std::to_string(process) +
                " cannot be read: " + std::generic_category().message(error)};
}

void takeVariable(std::string_view assignment)
{
    for (const std::string_view name : productionVariables)
        if (assignment.starts_with(name) && assignment.substr(name.size()).starts_with('='))
            ::setenv(std::string(name).c_str(),
                     std::string(assignment.substr(name.size() + 1)).c_str(), 1);
}

} // namespace

void takePlaceOf(pid_t process)
{
    const std::string directory = "/proc/" + std::to_string(process);
    std::ifstream environment(directory + "/environ", std::ios::binary);
    if (!environment)
        throw notReached(process, "environment", errno);
    for (const char* const name : productionVariables)
        ::unsetenv(name);
    for (std::string assignment; std::getline(environment, assignment, '\0');)
        takeVariable(assignment);
    if (::chdir((directory + "/cwd").c_str()) != 0)
        throw notReached(process, "working directory", errno);
}

} // namespace Varnix::Tool

#ifndef VARNIX_TESTS_PROCESS_H
#define VARNIX_TESTS_PROCESS_H

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Varnix::Test {

/** How a program ended and what it wrote. */
struct ProcessResult
{
    /** The exit status, or -1 when a signal ended it. */
    int status = -1;
    int signal = 0;
    std::string out;
    std::string err;
};

struct ProcessSetup
{
    std::filesystem::path directory = ".";
    /** "NAME=value"; added to the environment of the test, or "NAME" taken out of it. */
    std::vector<std::string> environment = {};
    /** What standard input reads. */
    std::filesystem::path input = "/dev/null";
    /** Where standard output goes instead of the result. */
    std::filesystem::path output = {};
    /** Done in the child right before the program starts; async-signal-safe calls only. */
    std::function<void()> before = {};
};

/** Runs a program to its end; one that takes longer than a minute is ended by SIGALRM. */
ProcessResult run(const std::vector<std::string>& command, const ProcessSetup& setup = {});

} // namespace Varnix::Test

#endif

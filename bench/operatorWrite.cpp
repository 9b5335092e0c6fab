#include "bench/node.h"
#include "bench/report.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <varnix/dbRegistryIf.h>

// How long varnix write takes to tell what became of a write in many subscribers, each a process of
// its own, beside the start of the command alone.

namespace Varnix::Bench {

namespace {

constexpr int subscriberCount = 100;
constexpr std::size_t sampleCount = 40;
constexpr Value u32x4{"U32x4", 6, 16};

/** A process that subscribes and then waits to be killed. */
pid_t startSubscriber(const std::string& config)
{
    const pid_t process = ::fork();
    if (process != 0)
        return process;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const auto database = V1::DbRegistryIf::getInstance().initDb(config);
    while (database)
        ::pause();
    ::_exit(1);
}

/** A subscription server that has all of them as subscribers; serves until it is killed. */
pid_t startServer()
{
    std::array<int, 2> output{};
    if (::pipe(output.data()) != 0)
        throw std::runtime_error("no pipe");
    const pid_t server = ::fork();
    if (server == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(output[1], STDOUT_FILENO);
        const std::string line = "exec " DBCSI_SERVER " --stay <<END\nwait " +
                                 std::to_string(subscriberCount) + " 120\nEND\n";
        ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(output[1]);
    char first = 0; // of "100 subscribers"
    const bool served = ::read(output[0], &first, 1) == 1 && first == '1';
    ::close(output[0]);
    if (!served)
        throw std::runtime_error("the server did not get its subscribers");
    return server;
}

/** Runs the command; how often its output holds the text. */
int runAndCount(const std::string& command, const std::string& text)
{
    const std::unique_ptr<std::FILE, decltype(&::pclose)> output(::popen(command.c_str(), "r"),
                                                                 ::pclose);
    int count = 0;
    std::array<char, 4096> line{};
    while (output &&
           std::fgets(line.data(), static_cast<int>(line.size()), output.get()) != nullptr)
        count += std::string(line.data()).find(text) != std::string::npos ? 1 : 0;
    return count;
}

void measure(benchmark::State& state, const std::string& command, const std::string& text,
             int count)
{
    using Clock = std::chrono::steady_clock;
    std::vector<std::int64_t> samples;
    for (auto _ : state)
        for (std::size_t i = 0; i < sampleCount; ++i) {
            const std::string value = std::to_string(i + 1);
            const auto start = Clock::now();
            const int found = runAndCount(command + ' ' + value, text + value);
            samples.push_back(std::chrono::nanoseconds(Clock::now() - start).count());
            if (found != count)
                state.SkipWithError(("answered " + std::to_string(found) + " times").c_str());
        }
    reportDistribution(state, samples);
}

} // namespace

} // namespace Varnix::Bench

int main(int argc, char** argv)
{
    using namespace Varnix::Bench;

    const Node node;
    node.writeProduction({});
    const std::string file = node.writeDatabase("written.db", {u32x4, 100});
    const std::string config = node.writeConfig("written.cfg", {file});
    std::vector<pid_t> processes;
    for (int i = 0; i < subscriberCount; ++i)
        processes.push_back(startSubscriber(config));
    processes.push_back(startServer());

    const auto add = [](const std::string& name, const std::string& command,
                        const std::string& text, int count) {
        benchmark::RegisterBenchmark(("operator/" + name).c_str(), measure, command, text, count)
            ->Iterations(1)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    };
    add("write", VARNIX_TOOL " write db write " + keyOf(0), " -> ", subscriberCount);
    add("start", VARNIX_TOOL " --version && echo written", "written ", 1);
    const int status = runBenchmarks(argc, argv);
    for (const pid_t process : processes) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    return status;
}

#include "tests/tools/toolTest.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <system_error>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varnix::Test {
namespace {

namespace fs = std::filesystem;

/** How a traced program ended, or nothing where it had written all before the signal was sent. */
using Ending = std::optional<int>;

/** A signal, and at which share of the system calls it is tried. */
struct Trial
{
    int signal;
    unsigned stride;
};

/** Builds a database over an old one and its dependency file, stopped at its system calls. */
class Interrupt : public ToolTest, public testing::WithParamInterface<Trial>
{
protected:
    Interrupt()
    {
        write("source", "/a CHAR \"" + std::string(100000, 'x') + "\"\n");
        EXPECT_EQ(varnix(command("new")).status, 0);
        m_built = read("new");
    }

    static std::vector<std::string> command(const std::string& output)
    {
        return {"build", "-o", output, "--depfile", "depfile", "source"};
    }

    std::ptrdiff_t temporaryFiles() const
    {
        return std::count_if(fs::directory_iterator(m_directory.path()), {},
                             [](const auto& entry) { return entry.path().extension() == ".tmp"; });
    }

    bool isDone() const { return temporaryFiles() == 0 && read("output") == m_built; }

    /**
     * Starts the build, lets it run until its first temporary file is there and `calls` more
     * entries to or exits from system calls have been seen, sends the signal, and waits for the
     * end.
     */
    Ending interruptAfter(unsigned calls, int signal) const
    {
        const pid_t child = startTraced(signal);
        bool isWriting = false;
        while (true) {
            const int status = waitFor(child);
            if (!WIFSTOPPED(status))
                return std::nullopt;
            isWriting = isWriting || temporaryFiles() > 0;
            const bool isWritten = isWriting && isDone();
            if (isWritten || (isWriting && calls-- == 0)) {
                if (!isWritten)
                    ::kill(child, signal);
                ::ptrace(PTRACE_DETACH, child, nullptr, nullptr);
                const int ending = waitFor(child);
                return isWritten ? std::nullopt : Ending(ending);
            }
            ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        }
    }

    void expectWholeFiles() const
    {
        const std::string output = read("output");
        EXPECT_TRUE(output == "old" || output == m_built);
        const std::string rule = read("depfile");
        EXPECT_TRUE(rule == "old" || rule == "output: source\nsource:\n");
        // A new output is never beside old dependencies.
        EXPECT_FALSE(output == m_built && rule == "old");
    }

    std::string m_built;

private:
    static void require(bool condition, const char* what)
    {
        if (!condition)
            throw std::system_error(errno, std::system_category(), what);
    }

    static int waitFor(pid_t child)
    {
        int status = 0;
        while (::waitpid(child, &status, 0) < 0)
            require(errno == EINTR, "waitpid");
        return status;
    }

    pid_t startTraced(int signal) const
    {
        std::vector<std::string> words = command("output");
        words.insert(words.begin(), VARNIX_TOOL);
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const pid_t child = ::fork();
        require(child >= 0, "fork");
        if (child == 0) {
            ::signal(signal, SIG_DFL); // whoever runs the tests may ignore it
            if (::chdir(m_directory.path().c_str()) == 0 &&
                ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0)
                ::execv(arguments.front(), arguments.data());
            ::_exit(127);
        }
        return child;
    }
};

class IgnoredSignal
{
public:
    explicit IgnoredSignal(int signal) : m_signal(signal), m_before(::signal(signal, SIG_IGN)) {}
    ~IgnoredSignal() { ::signal(m_signal, m_before); }
    IgnoredSignal(const IgnoredSignal&) = delete;
    IgnoredSignal& operator=(const IgnoredSignal&) = delete;

private:
    int m_signal;
    void (*m_before)(int);
};

TEST_P(Interrupt, IsTestedAlsoWhereTheSignalIsIgnored)
{
    const int signal = GetParam().signal;
    const IgnoredSignal ignored(signal == SIGKILL ? SIGINT : signal);
    write("output", "old");
    write("depfile", "old");
    const Ending ending = interruptAfter(0, signal);
    ASSERT_TRUE(ending);
    EXPECT_TRUE(WIFSIGNALED(*ending));
}

TEST_P(Interrupt, AtAnySystemCallLeavesWholeFiles)
{
    const auto [signal, stride] = GetParam();
    unsigned calls = 0;
    for (Ending ending = 0; ending; calls += stride) {
        SCOPED_TRACE(calls);
        write("output", "old");
        write("depfile", "old");
        ending = interruptAfter(calls, signal);
        expectWholeFiles();
        if (!ending)
            continue;
        EXPECT_TRUE(WIFSIGNALED(*ending));
        EXPECT_EQ(WTERMSIG(*ending), signal);
        // Nobody can tidy up after SIGKILL but the next command.
        EXPECT_LE(temporaryFiles(), signal == SIGKILL ? 1 : 0);
        if (temporaryFiles() > 0) {
            EXPECT_EQ(varnix(command("output")).status, 0);
            EXPECT_EQ(temporaryFiles(), 0);
        }
    }
    EXPECT_GT(calls, 10U) << "the build was not seen to write";
}

INSTANTIATE_TEST_SUITE_P(Signals, Interrupt,
                         testing::Values(Trial{SIGKILL, 1}, Trial{SIGTERM, 1}, Trial{SIGINT, 7},
                                         Trial{SIGHUP, 7}),
                         [](const auto& trial) {
                             return std::string("SIG") + ::sigabbrev_np(trial.param.signal);
                         });

} // namespace
} // namespace Varnix::Test

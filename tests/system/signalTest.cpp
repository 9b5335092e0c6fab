#include "dbRegistryImpl.h"
#include "systemFixture.h"

#include <atomic>
#include <csignal>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Varnix::Backend;
using namespace Varnix::Test;

std::atomic<int> onTheClientsThread{0};
std::atomic<int> elsewhere{0};

/** A process that sends this one a signal over and over. */
class Flood
{
public:
    explicit Flood(int signal) : m_pid(::fork())
    {
        if (m_pid != 0)
            return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        while (::kill(::getppid(), signal) == 0) {
        }
        ::_exit(0);
    }
    ~Flood()
    {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

private:
    pid_t m_pid;
};

TEST(RegistrySignals, AreHandledOnTheClientsThreadsAlone)
{
    const int lives = countOf("VARNIX_TEST_LIVES", 300);
    const Node node;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++(::gettid() == ::getpid() ? onTheClientsThread : elsewhere); };
    action.sa_flags = SA_RESTART;
    struct sigaction before = {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    {
        const Flood flood(SIGUSR1);
        for (int i = 0; i < lives; ++i) {
            DbRegistryImpl::getInstance();
            DbRegistryImpl::freeInstance();
        }
    }
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_GT(onTheClientsThread, lives);
    EXPECT_EQ(elsewhere, 0);
}

} // namespace

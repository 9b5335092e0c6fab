#include "channelTest.h"
#include "tests/support/processState.h"

#include <atomic>
#include <cstring>
#include <semaphore>
#include <thread>

#include <pthread.h>

namespace {

using namespace Varnix::Test;

/** The cancellation state of the calling thread. */
int cancelState()
{
    int state = 0;
    int ignored = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, &ignored);
    return state;
}

TEST_F(Channel, OnlyTheReceiveCanBeCancelled)
{
    std::atomic<int> calls{0};
    std::atomic<int> wrong{0};
    m_itc.onCall([&](const std::string& function) {
        const bool receiving = function == "receive";
        wrong += (cancelState() == PTHREAD_CANCEL_ENABLE) == receiving ? 0 : 1;
        ++calls;
    });
    startSubscribed();
    receives(message(DBCSI_SERVER_DOWN_IND));
    EXPECT_GT(calls, 15);
    EXPECT_EQ(wrong, 0);
}

TEST_F(Channel, CancelledThreadFinishesItsMessageFirst)
{
    start();
    std::binary_semaphore inside{0};
    std::binary_semaphore cancelled{0};
    m_itc.onCall([&](const std::string& function) {
        if (function != "sender")
            return;
        inside.release();
        cancelled.acquire();
        pthread_testcancel();
    });
    m_itc.newCalls();
    m_itc.deliver(message(DBCSI_LOCATE_IND), server);
    inside.acquire();
    std::thread freeing([] { DbRegistryImpl::freeInstance(); });
    cancelled.release();
    freeing.join();
    const Calls calls = m_itc.newCalls();
    ASSERT_GE(calls.size(), 6U);
    EXPECT_EQ(calls[5], freeCall("m2"));
    EXPECT_EQ(m_itc.held(), Calls{});
    EXPECT_EQ(threadsNamed("varnixCmd"), 0U);
}

TEST_F(Channel, ClientsSignalsAreNotTheThreads)
{
    std::atomic<bool> blocked{false};
    m_itc.onCall([&](const std::string&) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked = sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGUSR1) == 1;
    });
    start();
    EXPECT_TRUE(blocked);
}

} // namespace

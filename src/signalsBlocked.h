#ifndef VARNIX_SIGNALSBLOCKED_H
#define VARNIX_SIGNALSBLOCKED_H

#include <pthread.h>
#include <signal.h>

namespace Varnix::Backend {

/** While it lives, no signal handler runs on this thread, nor on one that it starts. */
class SignalsBlocked
{
public:
    SignalsBlocked() noexcept
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_before;
};

} // namespace Varnix::Backend

#endif

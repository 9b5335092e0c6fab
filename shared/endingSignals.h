#ifndef VARNIX_SHARED_ENDINGSIGNALS_H
#define VARNIX_SHARED_ENDINGSIGNALS_H

#include <csignal>

/** The signals by which a user, a terminal or a service manager ends a program. */
namespace EndingSignals {

struct Blocked
{
    sigset_t awaited; ///< those to wait for
    sigset_t before;  ///< what the thread had blocked before
};

/**
 * Blocks SIGINT, SIGTERM and SIGHUP in the calling thread. Those that are ignored, as SIGHUP is
 * below nohup, are not among the awaited: a signal that is blocked comes although it is ignored.
 */
inline Blocked block() noexcept
{
    Blocked blocked{};
    sigset_t all;
    ::sigemptyset(&all);
    ::sigemptyset(&blocked.awaited);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        ::sigaction(signal, nullptr, &action);
        ::sigaddset(&all, signal);
        if (action.sa_handler != SIG_IGN)
            ::sigaddset(&blocked.awaited, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &all, &blocked.before);
    return blocked;
}

} // namespace EndingSignals

#endif

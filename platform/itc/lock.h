#ifndef VARNIX_PLATFORM_ITC_LOCK_H
#define VARNIX_PLATFORM_ITC_LOCK_H

#include <mutex>

// ThreadSanitizer's own, in a program that is built with it; null in any other.
extern "C" {
void __tsan_acquire(void* address) __attribute__((weak));
void __tsan_release(void* address) __attribute__((weak));
}

namespace Itc {

/**
 * A mutex whose order ThreadSanitizer sees in every thread. It counts a thread that was cancelled
 * in a blocking call as still inside, and takes no notice of the locks that such a thread takes at
 * its end. So it is told of them.
 */
class Lock
{
public:
    void lock()
    {
        m_mutex.lock();
        acquired();
    }
    bool try_lock()
    {
        const bool taken = m_mutex.try_lock();
        if (taken)
            acquired();
        return taken;
    }
    void unlock()
    {
        if (__tsan_release != nullptr)
            __tsan_release(this);
        m_mutex.unlock();
    }

private:
    void acquired()
    {
        if (__tsan_acquire != nullptr)
            __tsan_acquire(this);
    }

    std::mutex m_mutex;
};

} // namespace Itc

#endif

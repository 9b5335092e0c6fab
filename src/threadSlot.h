#ifndef VARNIX_THREADSLOT_H
#define VARNIX_THREADSLOT_H

/**
 * Where a thread counts itself in every lock that it reads.
 *
 * The first threads have a slot each, all to themselves as long as they live. Those that find none
 * free share slots, and so do all threads where there are no barriers of the whole process.
 */
namespace Varnix::Backend::ThreadSlot {

/** There are so many slots to be had alone, and as many to be shared. */
inline constexpr unsigned count = 16;

/** No slot: the thread has not asked yet. */
inline constexpr unsigned none = 2 * count;

/** Finds a slot for the calling thread: below `count` alone, from there on shared. */
unsigned claim() noexcept;

[[gnu::tls_model("initial-exec")]] extern constinit thread_local unsigned ofThisThread;

/** The slot of the calling thread, which it keeps. */
inline unsigned mine() noexcept
{
    if (ofThisThread == none) [[unlikely]]
        ofThisThread = claim();
    return ofThisThread;
}

} // namespace Varnix::Backend::ThreadSlot

#endif

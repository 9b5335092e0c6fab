#ifndef VARNIX_READMOSTLYLOCK_H
#define VARNIX_READMOSTLYLOCK_H

#include "forks.h"
#include "processBarrier.h"
#include "threadSlot.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <thread>

namespace Varnix::Backend {

/**
 * A reader/writer lock for data that every core reads and hardly anybody writes.
 *
 * Readers count themselves in one of a few slots, each on a cache line of its own, so that readers
 * on different cores share nothing. A writer raises a flag, which turns new readers away, and waits
 * for each slot to drain.
 *
 * Why it excludes: a reader counts itself and then looks at the flag; a writer raises the flag and
 * then looks at the counters. Of any reader and writer, at least one sees the other: the reader
 * steps back, or the writer waits for it. Where threads share a slot, all four steps are
 * sequentially consistent. A thread that has a slot alone counts with plain loads and stores, and
 * the writer has every thread pass a memory barrier between its two steps: the count comes before
 * the barrier, and the writer sees it, or the look at the flag after it, and the reader sees that.
 *
 * Why a writer gets its turn: once the flag is up no reader enters to stay, so every slot drains as
 * soon as the readers inside have left, whatever others arrive. A reader that leaves while the flag
 * is up wakes the writer; the flag's fall wakes the readers.
 *
 * A forked child may inherit a raised flag without the writer. The flag tells the generation of the
 * process whose writer raised it, so the child knows it for nobody's and goes on. It cannot tell so
 * of readers that were inside: a lock that others read at the fork is not written in the child.
 */
class ReadMostlyLock
{
public:
    ReadMostlyLock() = default;
    ReadMostlyLock(const ReadMostlyLock&) = delete;
    ReadMostlyLock& operator=(const ReadMostlyLock&) = delete;

    void lock_shared()
    {
        const unsigned slot = ThreadSlot::mine();
        enter(slot);
        if (m_writing.load() != 0) [[unlikely]]
            waitForWriter(slot);
    }

    void unlock_shared() noexcept { leave(ThreadSlot::mine()); }

    /** Throws std::system_error when the calling thread holds the lock exclusively already. */
    void lock()
    {
        refuseDeadlock();
        ProcessBarrier::prepare();
        raiseFlag();
        m_writer.store(std::this_thread::get_id(), std::memory_order_relaxed);
        ProcessBarrier::pass();
        for (const Line& line : m_lines) {
            drain(line.alone);
            drain(line.shared);
        }
    }

    void unlock() noexcept
    {
        m_writer.store(std::thread::id(), std::memory_order_relaxed);
        m_writing.store(0);
        m_writing.notify_all();
    }

private:
    using Counter = std::atomic<std::uint32_t>;
    static constexpr std::size_t cacheLine = 64;

    /** The readers of a slot that is had alone, and those of one that is shared. */
    struct alignas(cacheLine) Line
    {
        Counter alone{0};
        Counter shared{0};
    };

    void enter(unsigned slot) noexcept
    {
        if (slot < ThreadSlot::count) [[likely]] {
            Counter& readers = m_lines[slot].alone;
            readers.store(readers.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
            std::atomic_signal_fence(std::memory_order_seq_cst);
        } else
            m_lines[slot - ThreadSlot::count].shared.fetch_add(1);
    }

    void leave(unsigned slot) noexcept
    {
        if (slot < ThreadSlot::count) [[likely]] {
            Counter& readers = m_lines[slot].alone;
            readers.store(readers.load(std::memory_order_relaxed) - 1, std::memory_order_release);
            std::atomic_signal_fence(std::memory_order_seq_cst);
        } else
            m_lines[slot - ThreadSlot::count].shared.fetch_sub(1);
        if (m_writing.load() != 0) [[unlikely]]
            wakeWriter(slot);
    }

    [[gnu::noinline, gnu::cold]] void wakeWriter(unsigned slot) noexcept
    {
        Line& line = m_lines[slot % ThreadSlot::count];
        Counter& readers = slot < ThreadSlot::count ? line.alone : line.shared;
        readers.fetch_add(0); // the count is seen before this thread looks for who sleeps
        readers.notify_all();
    }

    static void drain(const Counter& readers) noexcept
    {
        while (const std::uint32_t inside = readers.load())
            readers.wait(inside);
    }

    /** Waits while another writer has the flag; one that nobody has is taken. */
    void raiseFlag()
    {
        std::uint32_t found = 0;
        while (!m_writing.compare_exchange_strong(found, Forks::generation())) {
            if (found == Forks::generation()) {
                Forks::waitWhileRaised(m_writing);
                found = 0;
            }
        }
    }

    /** Whether a writer of this process has the flag; lowers one that nobody has. */
    bool isWriting()
    {
        std::uint32_t found = m_writing.load();
        while (found != 0 && found != Forks::generation())
            if (m_writing.compare_exchange_strong(found, 0))
                found = 0;
        return found != 0;
    }

    [[gnu::noinline, gnu::cold]] void waitForWriter(unsigned slot)
    {
        while (isWriting()) {
            leave(slot);
            refuseDeadlock();
            Forks::waitWhileRaised(m_writing);
            enter(slot);
        }
    }

    void refuseDeadlock()
    {
        if (m_writer.load(std::memory_order_relaxed) == std::this_thread::get_id() && isWriting())
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }

    std::array<Line, ThreadSlot::count> m_lines{};
    /** Raised while a writer waits for readers or is inside: the generation of its process. */
    std::atomic<std::uint32_t> m_writing{0};
    std::atomic<std::thread::id> m_writer{}; ///< whose flag it is, to refuse a second entry
};

} // namespace Varnix::Backend

#endif

#ifndef VARNIX_READMOSTLYLOCK_H
#define VARNIX_READMOSTLYLOCK_H

#include "forks.h"

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
 * then looks at the counters; all four steps are sequentially consistent. Of any reader and writer,
 * at least one therefore sees the other: the reader steps back, or the writer waits for it.
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
        Counter& readers = m_slots[threadSlot()].readers;
        readers.fetch_add(1);
        if (m_writing.load() != 0) [[unlikely]]
            waitForWriter(readers);
    }

    void unlock_shared() noexcept { leave(m_slots[threadSlot()].readers); }

    /** Throws std::system_error when the calling thread holds the lock exclusively already. */
    void lock()
    {
        refuseDeadlock();
        raiseFlag();
        m_writer.store(std::this_thread::get_id(), std::memory_order_relaxed);
        for (Slot& slot : m_slots)
            while (const std::uint32_t inside = slot.readers.load())
                slot.readers.wait(inside);
    }

    void unlock() noexcept
    {
        m_writer.store(std::thread::id(), std::memory_order_relaxed);
        m_writing.store(0);
        m_writing.notify_all();
    }

private:
    using Counter = std::atomic<std::uint32_t>;
    static constexpr std::size_t slotCount = 16;
    static constexpr std::size_t cacheLine = 64;

    struct alignas(cacheLine) Slot
    {
        Counter readers{0};
    };

    /** Threads take the slots in turn and keep theirs; more threads than slots share some. */
    static std::size_t threadSlot() noexcept
    {
        constexpr std::size_t none = slotCount;
        [[gnu::tls_model("initial-exec")]] static constinit thread_local std::size_t slot = none;
        if (slot == none) [[unlikely]]
            slot = s_nextSlot.fetch_add(1, std::memory_order_relaxed) % slotCount;
        return slot;
    }

    void leave(Counter& readers) noexcept
    {
        readers.fetch_sub(1);
        if (m_writing.load() != 0) [[unlikely]]
            readers.notify_all();
    }

    /** Waits while another writer has the flag; one that nobody has is taken. */
    void raiseFlag()
    {
        const std::uint32_t mine = Forks::generation();
        std::uint32_t found = 0;
        while (!m_writing.compare_exchange_strong(found, mine)) {
            if (found == mine) {
                m_writing.wait(mine);
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

    void waitForWriter(Counter& readers)
    {
        while (isWriting()) {
            leave(readers);
            refuseDeadlock();
            m_writing.wait(Forks::generation());
            readers.fetch_add(1);
        }
    }

    void refuseDeadlock()
    {
        if (m_writer.load(std::memory_order_relaxed) == std::this_thread::get_id() && isWriting())
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }

    inline static std::atomic<std::size_t> s_nextSlot{0};

    std::array<Slot, slotCount> m_slots{};
    /** Raised while a writer waits for readers or is inside: the generation of its process. */
    std::atomic<std::uint32_t> m_writing{0};
    std::atomic<std::thread::id> m_writer{}; ///< whose flag it is, to refuse a second entry
};

} // namespace Varnix::Backend

#endif

#ifndef VARNIX_TOOL_INORDER_H
#define VARNIX_TOOL_INORDER_H

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Varnix::Tool {

/**
 * Makes results on several threads and takes them in order on the calling one. Only so many results
 * wait to be taken that none of the threads has to. What `make` throws, the taking throws in its
 * place.
 */
template <typename Result>
class InOrder
{
public:
    using Make = std::function<Result(std::size_t index)>;
    using Take = std::function<void(std::size_t index, Result result)>;

    InOrder(std::size_t count, std::size_t threads, Make make)
        : m_count(count), m_window(threads * 16), m_make(std::move(make))
    {
        m_threads.reserve(threads);
        for (std::size_t i = 0; i < threads; ++i)
            start();
    }
    InOrder(const InOrder&) = delete;
    InOrder& operator=(const InOrder&) = delete;

    ~InOrder()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_next = m_count; // where taking threw
            m_taken = m_count;
        }
        m_changed.notify_all();
        for (std::thread& thread : m_threads)
            thread.join();
    }

    void takeAll(const Take& take)
    {
        for (std::size_t i = 0; i < m_count; ++i)
            take(i, wait(i));
    }

private:
    /** With one thread there is enough to go on. */
    void start()
    {
        try {
            m_threads.emplace_back([this] { run(); });
        } catch (const std::exception&) { // no thread, or no memory for it
            if (m_threads.empty())
                throw;
        }
    }

    void run()
    {
        std::unique_lock lock(m_mutex);
        while (true) {
            m_changed.wait(lock,
                           [this] { return m_next >= m_count || m_next < m_taken + m_window; });
            if (m_next >= m_count)
                return;
            makeNext(lock);
            m_changed.notify_all();
        }
    }

    void makeNext(std::unique_lock<std::mutex>& lock) noexcept
    {
        try {
            const std::size_t index = m_next++;
            lock.unlock();
            Result result = m_make(index);
            lock.lock();
            m_results.emplace(index, std::move(result));
        } catch (...) {
            if (!lock.owns_lock())
                lock.lock();
            m_failure = std::current_exception();
            m_next = m_count;
        }
    }

    Result wait(std::size_t index)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this, index] { return m_failure || m_results.contains(index); });
        if (m_failure)
            std::rethrow_exception(m_failure);
        Result result = std::move(m_results.at(index));
        m_results.erase(index);
        m_taken = index + 1;
        m_changed.notify_all();
        return result;
    }

    const std::size_t m_count;
    const std::size_t m_window;
    const Make m_make;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    // What follows is guarded by m_mutex.
    std::size_t m_next = 0;
    std::size_t m_taken = 0;
    std::map<std::size_t, Result> m_results;
    std::exception_ptr m_failure;

    std::vector<std::thread> m_threads;
};

} // namespace Varnix::Tool

#endif

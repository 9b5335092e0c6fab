#ifndef VARNIX_KIT_WATCHER_H
#define VARNIX_KIT_WATCHER_H

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/timerfd.h>
#include <unistd.h>
#include <varnix/kit/parameter.h>

namespace Varnix::Kit {

namespace Detail {

/** A parameter that is watched. */
class Watched
{
public:
    Watched() = default;
    virtual ~Watched() = default;
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    /** Reads the value; calls back and returns true where it differs from the one before. */
    virtual bool look() = 0;
    virtual const std::string& key() const noexcept = 0;

    void remove() noexcept { m_removed = true; }
    bool isRemoved() const noexcept { return m_removed; }

private:
    bool m_removed = false;
};

/** What a function is called for: not deduced from it, so that any callable serves. */
template <typename T>
struct ChangedType
{
    using Function = std::function<void(const T& value)>;
};

template <typename T>
class WatchedParameter : public Watched
{
public:
    WatchedParameter(Parameter<T> parameter, typename ChangedType<T>::Function changed)
        : m_parameter(std::move(parameter)), m_changed(std::move(changed)),
          m_value(m_parameter.value())
    {
    }

    bool look() override
    {
        if (m_parameter.read(m_next) != Parameter<T>::RetCode::OK)
            m_next = m_parameter.fallback();
        if (m_next == m_value)
            return false;
        std::swap(m_value, m_next); // first, so that a callback that throws has been told
        m_changed(m_value);
        return true;
    }

    const std::string& key() const noexcept override { return m_parameter.key(); }

private:
    const Parameter<T> m_parameter;
    const typename ChangedType<T>::Function m_changed;
    T m_value;
    T m_next{};
};

} // namespace Detail

/**
 * Tells of changed parameters, for whoever has a loop:
 *
 *     Watcher watcher(std::chrono::milliseconds(100));
 *     watcher.add(Parameter<std::uint16_t>(database, "/unit/gain", 1),
 *                 [](std::uint16_t gain) { amplify(gain); });
 *     // whenever the loop finds watcher.fd() readable:
 *     watcher.look();
 *
 * The interface has no notification; values are compared. A look reads what the parameters hold
 * then, so the last value is never missed: what comes between two looks and is replaced before the
 * second is not seen, and a change that was undone by then is none.
 *
 * A parameter that is no longer there, or has another type, has its fallback as its value.
 *
 * Threads: one at a time. It has no thread; callbacks run inside look() alone, on its
 * caller's thread. A callback may add and remove parameters, its own included; it must not destroy
 * the watcher. A look() inside a callback does nothing.
 */
class Watcher
{
public:
    /**
     * The descriptor becomes readable each `interval`. Throws std::invalid_argument where that is
     * not above zero, and std::system_error where no descriptor can be had.
     */
    explicit Watcher(std::chrono::milliseconds interval);
    ~Watcher() { ::close(m_fd); }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    /**
     * Reads the parameter now, and calls `changed` with its value when a look finds another one
     * than the last. Throws std::invalid_argument where `changed` is empty, and what the read
     * throws; nothing is added then.
     */
    template <typename T>
    void add(Parameter<T> parameter, typename Detail::ChangedType<T>::Function changed)
    {
        if (!changed)
            throw std::invalid_argument("the watched parameter \"" + parameter.key() +
                                        "\" has no function to call");
        m_watched.push_back(std::make_unique<Detail::WatchedParameter<T>>(std::move(parameter),
                                                                          std::move(changed)));
    }

    /** Watches no parameter of this key any more, however often it was added. Returns how many. */
    std::size_t remove(const std::string& key);

    /**
     * Readable when it is time to look. For poll, select, epoll and whatever is built on them. It
     * belongs to the watcher: do not read or close it.
     */
    int fd() const noexcept { return m_fd; }

    /**
     * Reads all parameters, in the order in which they were added, calls back for each that
     * changed, and returns how many did. Need not wait for the descriptor.
     *
     * What a callback throws passes to the caller. Its change counts as told, the descriptor stays
     * readable, and the next look begins with the parameters that this one did not reach.
     */
    std::size_t look();

private:
    class Looking;

    void dropRemoved() noexcept;

    int m_fd;
    bool m_looking = false;
    std::vector<std::unique_ptr<Detail::Watched>> m_watched;
};

/** Leaves the watcher in order, however a look ends. */
class Watcher::Looking
{
public:
    explicit Looking(Watcher& watcher) noexcept : m_watcher(watcher) { watcher.m_looking = true; }
    Looking(const Looking&) = delete;
    Looking& operator=(const Looking&) = delete;
    ~Looking()
    {
        auto& watched = m_watcher.m_watched;
        std::rotate(watched.begin(), watched.begin() + m_reached, watched.end());
        m_watcher.dropRemoved();
        m_watcher.m_looking = false;
    }

    /** The next to be looked at; null after the last. What a callback adds comes too. */
    Detail::Watched* next() noexcept
    {
        const auto& watched = m_watcher.m_watched;
        if (m_reached == static_cast<std::ptrdiff_t>(watched.size()))
            return nullptr;
        return watched[static_cast<std::size_t>(m_reached++)].get();
    }

private:
    Watcher& m_watcher;
    std::ptrdiff_t m_reached = 0;
};

inline Watcher::Watcher(std::chrono::milliseconds interval)
    : m_fd(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
{
    const int error = errno;
    if (interval <= std::chrono::milliseconds::zero()) {
        ::close(m_fd);
        throw std::invalid_argument("a watcher's interval must be above zero, not " +
                                    std::to_string(interval.count()) + " ms");
    }
    if (m_fd < 0)
        throw std::system_error(error, std::generic_category(), "a watcher's descriptor");
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(interval);
    itimerspec times{};
    times.it_interval.tv_sec = static_cast<time_t>(seconds.count());
    times.it_interval.tv_nsec =
        static_cast<long>(std::chrono::nanoseconds(interval - seconds).count());
    times.it_value = times.it_interval;
    ::timerfd_settime(m_fd, 0, &times, nullptr);
}

inline std::size_t Watcher::remove(const std::string& key)
{
    std::size_t count = 0;
    for (const auto& watched : m_watched) {
        if (!watched->isRemoved() && watched->key() == key) {
            watched->remove();
            ++count;
        }
    }
    if (!m_looking)
        dropRemoved();
    return count;
}

inline std::size_t Watcher::look()
{
    if (m_looking)
        return 0;
    std::size_t count = 0;
    {
        Looking looking(*this);
        while (Detail::Watched* const watched = looking.next())
            if (!watched->isRemoved() && watched->look())
                ++count;
    }
    std::uint64_t expirations = 0; // none where the loop was not asked
    static_cast<void>(::read(m_fd, &expirations, sizeof expirations));
    return count;
}

inline void Watcher::dropRemoved() noexcept
{
    m_watched.erase(std::remove_if(m_watched.begin(), m_watched.end(),
                                   [](const auto& watched) { return watched->isRemoved(); }),
                    m_watched.end());
}

} // namespace Varnix::Kit

#endif

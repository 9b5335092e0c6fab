#ifndef VARNIX_PUBLICATION_H
#define VARNIX_PUBLICATION_H

#include "inspection/layout.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Varnix::Backend {

/** What tools may see of one store; a member of the store, and found there from outside. */
class PublishedStore
{
public:
    PublishedStore() = default;
    PublishedStore(const PublishedStore&) = delete;
    PublishedStore& operator=(const PublishedStore&) = delete;

    /**
     * Says what the store holds: the configuration file's path, empty for the production store, and
     * its parameters, which stay where they are. Before the store is added.
     */
    void describe(const std::string& config, const void* parameters, std::size_t count);

    /** Marks the values as changing while it lives. The store's lock is held exclusively. */
    class Change
    {
    public:
        explicit Change(PublishedStore& store) noexcept;
        ~Change();
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

    private:
        std::uint64_t& m_changes;
    };

private:
    friend class Publication;

    Inspection::Store m_shown{};
    std::string m_config;
    PublishedStore* m_previous = nullptr;
    PublishedStore* m_next = nullptr;
};

/**
 * What tools may see of the registry.
 *
 * It costs a few words that are kept up to date: nothing in a read, two stores in a write. Stores
 * are added and removed while the registry's lock is held exclusively, or where no other thread
 * knows the registry; the rest is the subscription thread's.
 */
class Publication
{
public:
    static void add(PublishedStore& store) noexcept;

    /** Does nothing for a store that is not there. */
    static void remove(PublishedStore& store) noexcept;

    /** A new registry: nothing handled, no subscription thread yet. */
    static void begin() noexcept;

    /**
     * In a forked child, whose other threads are gone from wherever they were in here: no store is
     * shown until it is added again, and no subscription thread runs.
     */
    static void beginInChild() noexcept;

    static void setSubscription(Inspection::Subscription state) noexcept;

    /** The server has confirmed the subscription over the connection `serverRef`. */
    static void subscribed(std::uint32_t serverRef) noexcept;

    /** A write indication has been handled, whatever came of it. */
    static void countHandled() noexcept;
};

} // namespace Varnix::Backend

#endif
